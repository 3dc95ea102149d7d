// The functions' rules as plain loops, one element at a time: what the library is compared with.
#pragma once
#include <string_view>

#include "job.h"

namespace bench {

using Scalar = void (*)(const Job&);

// The loop for an exported function, or null.
Scalar scalar(std::string_view function);

}  // namespace bench
