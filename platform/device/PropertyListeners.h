#pragma once

/// Who wants to hear of changed properties, and the thread that tells them: started with the first
/// one, so that a program without listeners has none.

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

/// Hands on and returns; under whatever locks. Not on a real-time thread. [any-thread]
void notifyListeners(AudioObjectID object, AudioObjectPropertySelector selector);

}  // namespace Platform
