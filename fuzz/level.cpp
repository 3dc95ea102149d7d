#include "fuzz.h"

lum::Level fuzz::level = lum::Level::sse3;

lum::Level lum::level() { return fuzz::level; }

// Freed memory is used again soon: new pages are what costs most here.
extern "C" const char* __asan_default_options() { return "quarantine_size_mb=8"; }
