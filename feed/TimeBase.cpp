#include "coreaudio/CoreAudioOutput.h"

// The playback clock: the time that the bytes handed to the device stand for, carried on by the
// host's clock since the last callback. After a stop, a reset or a rebuild it stands at the byte
// count until the next callback.

namespace Tavro {
namespace {

constexpr std::uint32_t kPriority = 100;
constexpr std::uint64_t kMillisecondsPerSecond = 1000;

}  // namespace

template <class T>
std::uint32_t AudioOutput<T>::currentTime() {
  const boost::recursive_mutex::scoped_lock lock(m_clockLock);
  const std::uint64_t played =
      m_bytesPerSecond != 0 ? m_bytesRendered * kMillisecondsPerSecond / m_bytesPerSecond : 0;
  const std::uint64_t elapsed = m_lastCallbackTime != 0 ? GetTimeMS() - m_lastCallbackTime : 0;
  return static_cast<std::uint32_t>(played) + static_cast<std::uint32_t>(elapsed);
}

template <class T>
std::uint32_t AudioOutput<T>::timeBasePriority() {
  return kPriority;
}

template <class T>
void AudioOutput<T>::forgetLastCallback() {
  const boost::recursive_mutex::scoped_lock lock(m_clockLock);
  m_lastCallbackTime = 0;
}

bool CoreAudioOutput::isRunning() { return isGraphRunning(); }

template std::uint32_t AudioOutput<CoreAudioOutput>::currentTime();
template std::uint32_t AudioOutput<CoreAudioOutput>::timeBasePriority();
template void AudioOutput<CoreAudioOutput>::forgetLastCallback();

}  // namespace Tavro
