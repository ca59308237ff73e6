#pragma once

#include <cstdint>

#include "MediaBuffer.h"
#include "Setting.h"
#include "SettingConsumer.h"
#include "TimeBaseInterface.h"
#include "Variant.h"

namespace Tavro {

/// The graph's clock, in milliseconds.
class SessionClock {
 public:
  virtual ~SessionClock() = default;
  /// May ask the time bases: the component calls it under none of its locks.
  /// [any-thread], real-time safe
  virtual std::uint32_t currentTime() = 0;
  virtual void addTimeBase(TimeBaseInterface* timeBase) = 0;     // [host-thread]
  virtual void removeTimeBase(TimeBaseInterface* timeBase) = 0;  // [host-thread]
};

/// What a component sees of the session it was created in.
class GraphSessionInterface {
 public:
  virtual ~GraphSessionInterface() = default;

  /// True when the setting has a value, written to `*out`. [host-thread]
  virtual bool getSetting(const Setting& setting, _Variant* out) = 0;

  /// Reports the fate of a buffer of the stream, a BufferState. May take the lock that
  /// announcements are made under. [any-thread], real-time safe
  virtual void reportBuffer(std::uint32_t streamId, std::uint32_t state, MediaBuffer* buffer) = 0;

  virtual void registerSettingConsumer(SettingConsumer* consumer) = 0;    // [host-thread]
  virtual void unregisterSettingConsumer(SettingConsumer* consumer) = 0;  // [host-thread]

  /// The same object for the session's whole life. [host-thread]
  virtual SessionClock* getClock() = 0;
};

/// The upstream end that connectInput() is given.
class StreamSource {
 public:
  virtual ~StreamSource() = default;
  virtual std::uint32_t streamId() = 0;  // how the session knows the stream
};

}  // namespace Tavro
