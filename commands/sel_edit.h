// Selection edits that the second table reaches through handlers of its own.
#pragma once
#include "adaptor/handler.h"

namespace kesto::adaptor {

// The selection transform: the same keys and engine call through either
// door; only the layout of "paras" differs (`form`).
char* selection_transform(const char* name, const char* request, Form form);

} // namespace kesto::adaptor
