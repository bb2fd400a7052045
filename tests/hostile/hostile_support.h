// Calling the library in a child process per call, and judging the answer.
#pragma once
#include "adaptor/exports.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace kesto::test {

using Handler = char* (*)(const char*);

struct Outcome {
    bool finished = false; // the child ended before the time limit
    int signal = 0;        // what killed it, if anything
    bool null_reply = false;
    std::string reply;
    double seconds = 0; // how long the answer took
};

// KESTO_HOSTILE_SLOW=S names on standard error every call that took longer
// than S seconds (a survey, not a test: times depend on the machine).
inline void note_if_slow(const Outcome& o, const char* request)
{
    static const char* limit = std::getenv("KESTO_HOSTILE_SLOW");
    if (limit && o.seconds > std::atof(limit))
        std::fprintf(stderr, "slow: %.2f s: %.160s\n", o.seconds, request ? request : "(no text)");
}

// Calls `handler` with `request` in a child process and brings back its reply.
inline Outcome call_in_child(Handler handler, const char* request, int seconds = 20)
{
    int fds[2];
    if (pipe(fds) != 0) std::abort();
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        const char* reply = handler(request);
        const std::string text = reply ? std::string("R") + reply : std::string("N");
        for (size_t done = 0; done < text.size();) {
            const ssize_t n = write(fds[1], text.data() + done, text.size() - done);
            if (n <= 0) break;
            done += size_t(n);
        }
        _exit(0);
    }
    close(fds[1]);
    Outcome out;
    std::string text;
    const auto started = std::chrono::steady_clock::now();
    const auto deadline = started + std::chrono::seconds(seconds);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) break;
        pollfd p{fds[0], POLLIN, 0};
        if (poll(&p, 1, int(left.count())) <= 0) break;
        char buffer[65536];
        const ssize_t n = read(fds[0], buffer, sizeof buffer);
        if (n <= 0) {
            out.finished = true;
            break;
        }
        text.append(buffer, size_t(n));
    }
    close(fds[0]);
    if (!out.finished) kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status) && out.finished) out.signal = WTERMSIG(status);
    if (WIFEXITED(status) && WEXITSTATUS(status) != 0) out.signal = -WEXITSTATUS(status);
    out.null_reply = text == "N";
    if (!text.empty()) out.reply = text.substr(1);
    out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    note_if_slow(out, request);
    return out;
}

inline bool is_json(const std::string& text)
{
    Json::CharReaderBuilder builder;
    builder["stackLimit"] = 100000;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    return reader->parse(text.data(), text.data() + text.size(), &root, &errors);
}

// What a call may answer: the verdicts, JSON, or one of the few fixed texts
// hosts know from some commands.
inline ::testing::AssertionResult answered_cleanly(const Outcome& o, const std::string& what)
{
    if (!o.finished) return ::testing::AssertionFailure() << what << ": no answer within the time limit";
    if (o.signal) return ::testing::AssertionFailure() << what << ": the process died (" << o.signal << ")";
    if (o.null_reply) return ::testing::AssertionFailure() << what << ": a null reply";
    // "": the analysis-cache commands answer nothing, or an empty last page.
    static const char* fixed[] = {"OK", "ERROR", "func not found in map!", "drillinfo empty", ""};
    for (const char* f : fixed)
        if (o.reply == f) return ::testing::AssertionSuccess();
    if (o.reply.rfind("decoy ", 0) == 0)
        return ::testing::AssertionFailure() << what << ": reached the handler of another module (" << o.reply << ")";
    if (is_json(o.reply)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << what << ": answered \"" << o.reply.substr(0, 200) << "\"";
}

} // namespace kesto::test
