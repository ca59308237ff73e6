// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <pulse/pulseaudio.h>

#include "platform/driver/SoundServer.h"

namespace Platform {

/// Takes snapshots of a server: its default sink and all its sinks, which it sends one by one. One
/// snapshot at a time; a request during one causes another. Under libpulse's lock.
class SnapshotReader {
 public:
  /// `onSnapshot` is called on libpulse's thread with each one.
  explicit SnapshotReader(std::function<void(ServerState)> onSnapshot);

  /// Returns the generation that the snapshot will have.
  std::uint64_t request(pa_context* context);

 private:
  static void onServer(pa_context* context, const pa_server_info* info, void* self);
  static void onSink(pa_context* context, const pa_sink_info* info, int end, void* self);
  void start(pa_context* context);
  bool isConsistent() const;

  const std::function<void(ServerState)> m_onSnapshot;
  ServerState m_coming;  // the snapshot being made
  bool m_isReading = false;
  bool m_readsAgain = false;
  std::uint64_t m_started = 0;
  int m_inconsistent = 0;  // in a row
};

}  // namespace Platform
