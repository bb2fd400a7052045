#include "adaptor/dispatch.h"

#include "adaptor/handler.h"

#include <cstring>

namespace kesto::adaptor {

CommandTable& first_table()
{
    static CommandTable* table = new CommandTable();
    return *table;
}

CommandTable& second_table()
{
    static CommandTable* table = new CommandTable();
    return *table;
}

CommandTable& joint_table()
{
    static CommandTable* table = new CommandTable();
    return *table;
}

namespace {

char g_not_found[] = "func not found in map!";

// The name of the root's first member in byte order (jsoncpp keeps members
// sorted), or "" when it has none.
std::string first_member(const Json::Value& root)
{
    if (!root.isObject() || root.empty()) return std::string();
    return root.begin().name();
}

// A C-string exception: the location and the description, in GBK as the
// host's log readers expect.
void log_c_string_exception(int line, const char* what)
{
    static const char location[] = "\xd2\xec\xb3\xa3\xce\xbb\xd6\xc3\xa3\xba";    // 异常位置：
    static const char description[] = "\xd2\xec\xb3\xa3\xc3\xe8\xca\xf6\xa3\xba"; // 异常描述：
    LOG(ERROR) << location << "kesto_adaptor_c" << " : " << line;
    LOG(ERROR) << description << (what ? what : "");
}

} // namespace

} // namespace kesto::adaptor

using namespace kesto::adaptor;

extern "C" KESTO_EXPORT char* init_func_map(void)
{
    try {
        KESTO_INFO << "Begin init_map";
        CommandTable& table = first_table();
#define KESTO_STORE_ROW(command, handler) table[command] = &handler;
        KESTO_FIRST_TABLE(KESTO_STORE_ROW)
#undef KESTO_STORE_ROW
    } catch (...) {
    }
    // Hosts have always received the error text here, even after a full fill.
    return error();
}

extern "C" KESTO_EXPORT char* init_orig_func_map(void)
{
    try {
        KESTO_INFO << "Begin init_orig_map";
        CommandTable& table = second_table();
#define KESTO_STORE_ROW(command, handler) table[command] = &handler;
        KESTO_SECOND_TABLE(KESTO_STORE_ROW)
#undef KESTO_STORE_ROW
        KESTO_INFO << "end init_orig_map";
        CommandTable joint = first_table();
        for (const auto& row : table) joint[row.first] = row.second;
        joint_table().swap(joint);
        KESTO_INFO << "end init_map";
        return pass();
    } catch (...) {
        return error();
    }
}

extern "C" KESTO_EXPORT char* process(const char* request)
{
    // Only one failure reaches the host, as hosts have always seen it: a
    // "func" that does not convert to a string. Everything else is answered.
    Json::Value root;
    try {
        if (!parse_request(request, root)) return error();
        // A root that is not an object is no request at all.
        if (!root.isObject()) return error();
        if (first_member(root) != "func") return pass();
    } catch (const char* what) {
        log_c_string_exception(__LINE__, what);
        return error();
    } catch (...) {
        return error();
    }
    const std::string command = root["func"].asString();
    try {
        KESTO_INFO << command;
        const CommandTable& table = joint_table();
        const auto row = table.find(command);
        if (row == table.end()) {
            KESTO_INFO << "func not found in map!";
            return error();
        }
        return row->second(request);
    } catch (const char* what) {
        log_c_string_exception(__LINE__, what);
        return error();
    } catch (const std::exception& e) {
        log_failure(command.c_str(), e.what());
        return error();
    } catch (...) {
        log_failure(command.c_str(), "unknown exception");
        return error();
    }
}

extern "C" KESTO_EXPORT char* orig_process(const char* request)
{
    try {
        Json::Value root;
        if (!parse_request(request, root)) return pass();
        if (!root.isObject() || first_member(root) != "func") return pass();
        const std::string command = root["func"].asString();
        // Only a command equal to the table's smallest key runs, once; the walk
        // then stops at the next row. Hosts reach the rest through process.
        for (const auto& row : second_table()) {
            if (command != row.first) return g_not_found;
            row.second(request);
        }
        return pass();
    } catch (...) {
        return error();
    }
}

namespace kesto::adaptor {

char* pending(const char* name, const char* request)
{
    LOG(ERROR) << name << " is not available in this build";
    return error();
}

void log_failure(const char* name, const char* what) { LOG(ERROR) << name << " failed: " << what; }

} // namespace kesto::adaptor
