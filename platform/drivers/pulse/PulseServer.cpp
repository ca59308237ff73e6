// SPDX-License-Identifier: MIT

// The module's entry: connects, and makes drivers.

#include "platform/drivers/pulse/PulseConnection.h"
#include "platform/drivers/pulse/PulseDriver.h"

namespace Platform {
namespace {

class PulseServer final : public SoundServer {
 public:
  explicit PulseServer(std::shared_ptr<PulseConnection> connection)
      : m_connection(std::move(connection)) {}
  ~PulseServer() override { m_connection->forgetListener(); }
  PulseServer(const PulseServer&) = delete;
  PulseServer& operator=(const PulseServer&) = delete;

  bool refresh() override { return m_connection->isResponsive(); }
  ServerState state() const override { return m_connection->state(); }
  void setStreamName(const AudioDevices::StreamName& name) override {
    m_connection->setStreamName(name);
  }
  std::unique_ptr<SinkDriver> makeDriver(const Sink& sink) override {
    return std::make_unique<PulseDriver>(m_connection, sink);
  }

 private:
  const std::shared_ptr<PulseConnection> m_connection;  // shared with the drivers
};

}  // namespace
}  // namespace Platform

extern "C" Platform::SoundServer* connectSoundServer(Platform::SoundServerListener& listener,
                                                     AudioDevices::Failure& failure) {
  auto connection = std::make_shared<Platform::PulseConnection>();
  failure = connection->open(listener);
  return failure ? nullptr : new Platform::PulseServer(std::move(connection));
}

// The type by which the layer calls it.
static_assert(std::is_same_v<decltype(connectSoundServer), Platform::ConnectSoundServer>);
