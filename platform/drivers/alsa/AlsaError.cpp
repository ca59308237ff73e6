// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/AlsaError.h"

#include <alsa/asoundlib.h>
#include <cstdarg>
#include <cstdio>

namespace Platform {
namespace {

thread_local std::string* t_first = nullptr;  // of the AlsaErrorCapture on this thread

}  // namespace

AlsaErrorCapture::AlsaErrorCapture() {
  snd_lib_error_set_handler(hear);
  t_first = &m_first;
}

AlsaErrorCapture::~AlsaErrorCapture() { t_first = nullptr; }

void AlsaErrorCapture::hear(const char* /*file*/, int /*line*/, const char* /*function*/,
                            int /*error*/, const char* format, ...) {
  if (t_first == nullptr || !t_first->empty()) {
    return;
  }
  char line[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  *t_first = line;
}

std::string AlsaErrorCapture::explain(int error) const {
  const std::string meaning = snd_strerror(error);
  return m_first.empty() ? meaning : meaning + " (" + m_first + ")";
}

OSStatus statusOf(int error) {
  switch (-error) {
    case EBUSY:
    case EACCES:
    case EPERM:
      return kAudioDevicePermissionsError;
    case ENOENT:
    case ENODEV:
    case ENXIO:
    case EINVAL:  // no such name, or unknown arguments
      return kAudioHardwareBadDeviceError;
    default:
      return kAudioHardwareUnspecifiedError;
  }
}

std::string remedyFor(int error) {
  switch (-error) {
    case EBUSY:
      return "Another program is using it: quit that program, or choose another device.";
    case EACCES:
    case EPERM:
      return "Add this user to the group that may use it, usually 'audio'.";
    default:
      return "Choose a device that is listed.";
  }
}

}  // namespace Platform
