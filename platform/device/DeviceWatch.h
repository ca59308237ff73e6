#pragma once

namespace Platform {

/// From now on devices that play are looked at four times a second, by a thread that is started
/// once: those whose cycles stay away are told of and opened anew. [any-thread]
void watchCycles();

}  // namespace Platform
