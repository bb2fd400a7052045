#include "adaptor/reply.h"

#include "engine/config/configuration.h"

#include <array>

namespace kesto::adaptor {

char* pass() { return KESTO::configuration_instance::instance().get_gmsg_pass(); }
char* error() { return KESTO::configuration_instance::instance().get_gmsg_error(); }

char* keep(std::string text, ReplyBuffer buffer)
{
    thread_local std::array<std::string, static_cast<size_t>(ReplyBuffer::Count)> buffers;
    std::string& slot = buffers[static_cast<size_t>(buffer)];
    slot = std::move(text);
    return slot.data();
}

std::string compact(const Json::Value& value)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::FastWriter writer;
    return writer.write(value);
#pragma GCC diagnostic pop
}

char* reply_json(const char* func, const Json::Value& paras, ReplyBuffer buffer)
{
    Json::Value root(Json::objectValue);
    root["func"] = func;
    root["paras"] = paras;
    return keep(compact(root), buffer);
}

} // namespace kesto::adaptor
