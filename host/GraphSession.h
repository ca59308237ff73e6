// SPDX-License-Identifier: MIT

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
  /// May query the time bases: a component must hold none of its locks when it calls this.
  /// [any-thread], real-time safe
  virtual std::uint32_t currentTime() = 0;
  virtual void addTimeBase(TimeBaseInterface* timeBase) = 0;     // [host-thread]
  virtual void removeTimeBase(TimeBaseInterface* timeBase) = 0;  // [host-thread]
};

/// The session that a component was created in, as the component sees it.
class GraphSessionInterface {
 public:
  virtual ~GraphSessionInterface() = default;

  /// Returns true if the setting has a value, and writes it to `*out`. [host-thread]
  virtual bool getSetting(const Setting& setting, _Variant* out) = 0;

  /// Reports what happened to a buffer of the stream; `state` is a BufferState. May take the lock
  /// under which setting changes are announced. [any-thread], real-time safe
  virtual void reportBuffer(std::uint32_t streamId, std::uint32_t state, MediaBuffer* buffer) = 0;

  virtual void registerSettingConsumer(SettingConsumer* consumer) = 0;    // [host-thread]
  virtual void unregisterSettingConsumer(SettingConsumer* consumer) = 0;  // [host-thread]

  /// Returns the same object for the session's whole life. [host-thread]
  virtual SessionClock* getClock() = 0;
};

/// The upstream end of a connection, passed to connectInput().
class StreamSource {
 public:
  virtual ~StreamSource() = default;
  virtual std::uint32_t streamId() = 0;  // identifies the stream in the session
};

}  // namespace Tavro
