#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "player/base/StreamFormat.h"
#include "player/device/DeviceChoice.h"

namespace Player {

/// What sound goes to: the device that was chosen, attached and made the default output; where none
/// was, the default output as it is. Either may be lost on the way and come back; meanwhile another
/// one takes over, or none. All operations throw PlayerError when the device has failed.
/// [host-thread]
class Device {
 public:
  /// `onChange` is called when the default output is another one, on a thread of the layer's.
  explicit Device(const DeviceChoice& choice, std::function<void()> onChange = {});
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// What a file device is to hold. Before anything plays.
  void setFileFormat(const StreamFormat& format);

  AudioDevices::DeviceDescription describe() const { return AudioDevices::describe(m_id); }

  /// That a component takes of it: as the plug-in counts them, its labelled ones, eight at most.
  std::uint32_t channels() const;

  /// Gives every stream the format that it had at first, as far as the device allows: a component
  /// that could not start its passthrough leaves its stream switched. While nothing plays.
  void restoreFormats() const;

  /// Throws what went wrong on the device so far; that it was lost is no failure.
  void check() const;

  /// Looks what has become of it since the last look, and answers that in a sentence, or nothing.
  std::string news();

  /// As of the last look: there is one, and it is not known to stand.
  bool plays() const { return m_isThere && !m_stands; }
  bool isThere() const { return m_isThere; }
  AudioDeviceID id() const { return m_id; }  // with none, of the last one

  /// Why it did not start when it last was to; empty: it did.
  std::string startRefusal() const;

  /// How long what was handed over last takes until it is heard.
  std::uint64_t latencyNs() const;

  /// Of all the devices that were played on.
  AudioDevices::DeviceTotals totals() const;
  AudioDevices::BurstReport burstReport() const { return AudioDevices::burstsOf(m_id); }
  std::uint64_t bursts() const { return totals().bursts; }

  /// How many frames will have been heard when all that was handed over by now has been; 0: this is
  /// not a device that sounds.
  std::uint64_t framesToHear() const;
  std::uint64_t cycles() const { return AudioDevices::totalsOf(m_id).cycles; }
  std::uint64_t framesHeard() const { return AudioDevices::totalsOf(m_id).framesHeard; }

  /// Takes `padding` frames of a stream of `rate` back from the end of a file, unless it was
  /// converted to another rate.
  void endWithSound(std::uint32_t padding, std::uint32_t rate) const;

  /// Completes a file.
  void close();

 private:
  void attach();
  void settleOn(AudioDeviceID id);
  std::string moveTo(AudioDeviceID id);
  static OSStatus onDefault(AudioObjectID object, UInt32 count,
                            const AudioObjectPropertyAddress* addresses, void* device);

  const DeviceChoice m_choice;
  const std::function<void()> m_onChange;
  AudioDeviceID m_id = kAudioObjectUnknown;
  std::string m_identifier;  // its
  bool m_isThere = true;
  bool m_stands = false;
  std::vector<AudioDevices::StreamDescription> m_streams;  // as they were at first
  AudioDevices::DeviceTotals m_atFirst;                    // its, when it was gone to
  AudioDevices::DeviceTotals m_onOthers;
};

}  // namespace Player
