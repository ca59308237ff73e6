// SPDX-License-Identifier: MIT

#include "player/ffmpeg/PipeInput.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Player {

namespace {

constexpr int kBufferBytes = 32768;
constexpr int kPollMs = 20;

}  // namespace

std::unique_ptr<PipeInput> PipeInput::openIfPipe(const std::string& path, ShouldStop shouldStop) {
  struct stat about {};
  if (stat(path.c_str(), &about) != 0 || !(S_ISFIFO(about.st_mode) || S_ISCHR(about.st_mode))) {
    return nullptr;
  }
  const int file = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  return file >= 0 ? std::unique_ptr<PipeInput>(new PipeInput(file, shouldStop)) : nullptr;
}

PipeInput::PipeInput(int file, ShouldStop shouldStop)
    : m_file(file),
      m_shouldStop(shouldStop),
      m_context(avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBufferBytes)),
                                   kBufferBytes, 0, this, onRead, nullptr, nullptr)) {}

PipeInput::~PipeInput() {
  if (m_context != nullptr) {
    av_freep(&m_context->buffer);
    avio_context_free(&m_context);
  }
  ::close(m_file);
}

int PipeInput::onRead(void* input, std::uint8_t* to, int size) {
  return static_cast<PipeInput*>(input)->read(to, size);
}

/// Before the first writer has opened a pipe, reading would return its end; polling waits for one.
int PipeInput::read(std::uint8_t* to, int size) const {
  while (!m_shouldStop()) {
    pollfd pipe{.fd = m_file, .events = POLLIN, .revents = 0};
    if (poll(&pipe, 1, kPollMs) <= 0) {
      continue;
    }
    const ssize_t count = ::read(m_file, to, static_cast<std::size_t>(size));
    if (count > 0) {
      return static_cast<int>(count);
    }
    if (count == 0) {
      return AVERROR_EOF;
    }
    if (errno != EAGAIN && errno != EINTR) {
      return AVERROR(errno);
    }
  }
  return AVERROR_EXIT;
}

}  // namespace Player
