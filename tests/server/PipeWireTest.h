#pragma once

#include <vector>

#include "tests/server/ServerTest.h"

/// PipeWire in the sound server's place, with a session bus and a session manager of its own. Its
/// sinks work in 32 bit float, so 32 bit integers are not exact on them.
class PipeWireTest : public ServerTest {
 protected:
  void SetUp() override;

  /// Sinks of two or of eight channels.
  void startPipeWire(const std::vector<NullSink>& sinks);

 private:
  void writeSinks(const std::vector<NullSink>& sinks) const;
  void writeSessionManagersSettings() const;
};
