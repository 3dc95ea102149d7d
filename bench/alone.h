// Whether something else runs on this processor core.
#pragma once

namespace bench {

// A core can run two programs at a time, which share what it can do; the other one may belong to another guest of the
// machine, where nothing tells of it. But then this one adds fewer vectors a cycle than it ever has. Takes some
// microseconds.
bool alone_on_core();

}  // namespace bench
