// SPDX-License-Identifier: MIT

#include "tests/server/PipeSink.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using std::chrono::steady_clock;

namespace {

constexpr double kBytesPerSecond = 4 * 48000;  // of sound
constexpr std::size_t kMostBytes = 1 << 30;    // of addresses: copying would keep the sink waiting

}  // namespace

PipeSink::PipeSink(const std::string& pipe, double speed)
    : m_speed(speed),
      m_pipe(open(pipe.c_str(), O_RDONLY | O_NONBLOCK)),
      m_since(steady_clock::now()) {
  EXPECT_GE(m_pipe, 0) << pipe;
  m_played.reserve(kMostBytes);
  m_thread = std::thread([this] { run(); });
}

PipeSink::~PipeSink() {
  m_ends = true;
  m_thread.join();
  close(m_pipe);
}

void PipeSink::stall(std::chrono::milliseconds time) {
  const std::lock_guard lock(m_lock);
  const auto now = steady_clock::now();
  m_before = dueBytes(now);
  m_since = now + time;
}

void PipeSink::jump(std::chrono::milliseconds sound) {
  const std::lock_guard lock(m_lock);
  m_before += kBytesPerSecond * std::chrono::duration<double>(sound).count();
}

Bytes PipeSink::played() const {
  const std::lock_guard lock(m_lock);
  return m_played;
}

double PipeSink::dueBytes(steady_clock::time_point now) {
  const double seconds = std::chrono::duration<double>(now - m_since).count();
  return m_before + std::max(seconds, 0.0) * m_speed * kBytesPerSecond;
}

void PipeSink::run() {
  while (!m_ends) {
    {
      const std::lock_guard lock(m_lock);
      const auto due = static_cast<std::size_t>(dueBytes(steady_clock::now()));
      while (m_played.size() < due && take(due - m_played.size())) {
      }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

/// False: the server has not made any more so far.
bool PipeSink::take(std::size_t byteCount) {
  std::array<unsigned char, 65536> bytes;
  const ssize_t count = read(m_pipe, bytes.data(), std::min(byteCount, bytes.size()));
  m_played.insert(m_played.end(), bytes.begin(), bytes.begin() + std::max<ssize_t>(count, 0));
  return count > 0;
}
