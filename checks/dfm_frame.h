// What the DFM commands share besides the handler frame: the refusal of an
// empty layer list and the "name:value" record of the values an operation
// ran with.
#pragma once
#include "adaptor/reply.h"

#include <glog/logging.h>

#include <sstream>
#include <type_traits>
#include <string>

namespace kesto::checks {

// One INFO record, each value on its own line as "name:value", booleans as
// 1 or 0:  ValueLog().add("drilled_pads:", on).add("cu_spacing:", gap).text()
class ValueLog {
public:
    template <class T>
    ValueLog& add(const char* label, const T& value)
    {
        if (!first_) out_ << '\n';
        first_ = false;
        if constexpr (std::is_same_v<T, bool>)
            out_ << label << (value ? 1 : 0);
        else
            out_ << label << value;
        return *this;
    }
    std::string text() const { return out_.str(); }

private:
    std::ostringstream out_;
    bool first_ = true;
};

// An operation given no layers changes nothing: ERROR record, error text.
inline char* refuse_empty_layers(const char* operation)
{
    LOG(ERROR) << operation << ": no layers given; nothing is changed";
    return kesto::adaptor::error();
}

} // namespace kesto::checks
