// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>

#include "feed/ComponentLock.h"
#include "feed/Feed.h"

namespace Tavro {

/// Pulls buffers from the upstream port into the queue while the output plays, drops entirely late
/// ones before they are queued, and pauses when there is nothing to do. It holds the configuration
/// lock while it queries upstream, never together with another lock, and never while it pauses.
class Feeder {
 public:
  Feeder(Feed& feed, ComponentMutex& configLock) : m_feed(feed), m_configLock(configLock) {}

  /// Returns within one pause after stop(). `peer` is the upstream port, null while there is none;
  /// it changes under the configuration lock. [feeder-thread]
  void run(const std::atomic<PortInterface*>& peer);
  void stop() { m_stop = true; }  // [any-thread]

 private:
  struct Pull;
  Pull pullFrom(const std::atomic<PortInterface*>& peer) TAVRO_EXCLUDES(m_configLock);
  MediaBuffer* askForBuffer(PortInterface& upstream) TAVRO_REQUIRES(m_configLock);
  void queueOrDrop(const Pull& pull) TAVRO_EXCLUDES(m_configLock);
  bool reportIfLate(const Pull& pull);

  Feed& m_feed;
  ComponentMutex& m_configLock;
  std::atomic<bool> m_stop{false};
};

}  // namespace Tavro
