// SPDX-License-Identifier: MIT

#pragma once

/// The listeners of changed properties, and the thread that calls them. It is started with the
/// first listener, so a program without listeners has none.

#include <CoreAudio/CoreAudio.h>

namespace Platform {

struct PropertyListener {
  AudioObjectID object;
  AudioObjectPropertySelector selector;
  AudioObjectPropertyListenerProc procedure;
  void* clientData;
  bool operator==(const PropertyListener&) const = default;
};

void addListener(const PropertyListener& listener);     // [any-thread]
void removeListener(const PropertyListener& listener);  // [any-thread], with no lock held

/// Queues the notification and returns. May be called with any lock held, but not on a real-time
/// thread. [any-thread]
void notifyListeners(AudioObjectID object, AudioObjectPropertySelector selector);

}  // namespace Platform
