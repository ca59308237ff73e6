// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "player/base/ExitStatus.h"
#include "player/base/StreamFormat.h"
#include "player/source/Source.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Session.h"

namespace Player {

/// Thrown if the output rejects a format.
class FormatRefused : public PlayerError {
 public:
  explicit FormatRefused(const StreamFormat& format);
};

/// One component of the bundle, created in the session. [host-thread]
class Output {
 public:
  Output(Tavro::Bundle& bundle, Tavro::Session& session);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Returns false if `format` needs another component: a port ignores a write of the rate,
  /// channels and mode that it has, even with other bits or after that write failed.
  bool takes(const StreamFormat& format) const;

 private:
  friend class Connection;

  const Tavro::FormatDescriptor* descriptorFor(std::uint32_t code) const;
  Tavro::PortInterface* connectInput(std::uint32_t code);

  std::unique_ptr<Tavro::Component> m_component;
  std::vector<Tavro::FormatDescriptor> m_formats;  // as the component lists them
  std::optional<StreamFormat> m_written;
};

/// Connects a source to an output, from the connect event to the disconnect event. Both must
/// outlive it. [host-thread]
class Connection {
 public:
  /// Configures the output; throws FormatRefused. With bursts the device starts to run.
  Connection(Output& output, Source& source, const StreamFormat& format);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Lets the component fill its queue; returns whether it is ready to start.
  bool isReady();

  void start();
  void stop();

  /// Empties the component's queue, which stays empty until the next isReady().
  void flush();

 private:
  void send(std::uint32_t event);

  Output& m_output;
  Tavro::PortInterface* m_port;
};

}  // namespace Player
