// What every command handler shares: its export, the "Begin"/"End" records,
// reading "paras", and the catch-all that turns any failure into the error
// text. A handler reads like its row in the command tables:
//
//   KESTO_HANDLER(sel_move)
//   {
//       std::string job, step;
//       std::vector<std::string> layers;
//       double dx = 0, dy = 0;
//       return handle(__func__, request, Form::Elements,
//                     {{"job", job}, {"step", step}, {"layers", layers},
//                      {"offset_x", dx}, {"offset_y", dy}},
//                     [&] { KESTO::API::sel_move(job, step, layers, dx, dy); return pass(); });
//   }
#pragma once
#include "adaptor/exports.h"
#include "adaptor/paras.h"
#include "adaptor/reply.h"

#include <glog/logging.h>

#include <exception>
#include <stdexcept>
#include <type_traits>

// An INFO record that costs nothing when INFO records are switched off
// (glog builds every message, time stamp included, before it filters).
#define KESTO_INFO LOG_IF(INFO, FLAGS_minloglevel <= google::GLOG_INFO)

#define KESTO_HANDLER(name) extern "C" KESTO_EXPORT char* name(const char* request)

// A handler whose engine side is not built yet: it answers the error text.
#define KESTO_PENDING(name) \
    KESTO_HANDLER(name) { return ::kesto::adaptor::pending(#name, request); }

namespace kesto::adaptor {

enum class Form {
    Elements,       // first table: "paras" is an array of objects
    ElementsLogged, // first table, refusing text that does not parse and logging failures (checks)
    Members,        // second table: "paras" is one object
    MembersParse,   // second table, records "Begin <name> parse" / "End <name> parse"
};

char* pending(const char* name, const char* request);
void log_failure(const char* name, const char* what);

// The names a handler's "Begin" and "End" records carry: its own, or, for
// the few handlers whose records have always named another command, those.
struct Trace {
    const char* begin;
    const char* end;
    Trace(const char* name) : begin(name), end(name) {}
    Trace(const char* begin_name, const char* end_name) : begin(begin_name), end(end_name) {}
};

// Runs one handler: records, every key to its fallback, parsing, reading the
// keys, the body (which returns the reply; it may take "paras" for positional
// or direct reading), and the catch-all. A first-table handler given text
// that does not parse runs with every key at its default and answers any
// failure silently; a second-table handler and a check refuse such text, and
// log every failure at ERROR.
template <class Body>
char* handle(Trace trace, const char* request, Form form, Keys keys, Body&& body)
{
    const bool members = form == Form::Members || form == Form::MembersParse;
    const bool strict = form != Form::Elements;
    try {
        KESTO_INFO << "Begin " << trace.begin << (form == Form::MembersParse ? " parse" : "");
        reset_keys(keys);
        Json::Value root;
        if (parse_request(request, root)) {
            if (members)
                read_members(root["paras"], keys);
            else
                read_elements(root["paras"], keys);
        } else if (strict) {
            throw std::invalid_argument("the request is not JSON");
        }
        if (form == Form::MembersParse) KESTO_INFO << "End " << trace.end << " parse";
        char* reply;
        if constexpr (std::is_invocable_v<Body, const Json::Value&>)
            reply = body(root["paras"]);
        else
            reply = body();
        if (form != Form::MembersParse) KESTO_INFO << "End " << trace.end;
        return reply;
    } catch (const std::exception& e) {
        if (strict) log_failure(trace.begin, e.what());
    } catch (...) {
        if (strict) log_failure(trace.begin, "unknown exception");
    }
    return error();
}

} // namespace kesto::adaptor
