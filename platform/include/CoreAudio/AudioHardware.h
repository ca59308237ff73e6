// SPDX-License-Identifier: MIT

#pragma once

/* The hardware abstraction: objects with properties, and devices with I/O procedures. Plain C. Any
 * thread may call; no call is real-time safe. */

#include <CoreAudio/CoreAudioTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef UInt32 AudioObjectID;
typedef AudioObjectID AudioDeviceID;
typedef AudioObjectID AudioStreamID;
typedef UInt32 AudioObjectPropertySelector;
typedef UInt32 AudioObjectPropertyScope;
typedef UInt32 AudioObjectPropertyElement;

typedef struct AudioObjectPropertyAddress {
  AudioObjectPropertySelector mSelector;
  AudioObjectPropertyScope mScope;
  AudioObjectPropertyElement mElement;
} AudioObjectPropertyAddress;

enum { kAudioObjectUnknown = 0, kAudioObjectSystemObject = 1 };

enum {
  kAudioObjectPropertyScopeGlobal = 0x676C6F62, /* 'glob' */
  kAudioDevicePropertyScopeInput = 0x696E7074,  /* 'inpt' */
  kAudioDevicePropertyScopeOutput = 0x6F757470, /* 'outp' */
  kAudioObjectPropertyElementMaster = 0
};

enum {
  /* of the system object */
  kAudioHardwarePropertyDevices = 0x64657623,             /* 'dev#' AudioDeviceID[] */
  kAudioHardwarePropertyDefaultOutputDevice = 0x644F7574, /* 'dOut' AudioDeviceID, settable */
  kAudioHardwarePropertyServiceRestarted = 0x73727374,    /* 'srst' UInt32, 0: notifies only */
  /* of a device */
  kAudioDevicePropertyStreams = 0x73746D23,                /* 'stm#' AudioStreamID[] */
  kAudioDevicePropertyPreferredChannelLayout = 0x73726E64, /* 'srnd' AudioChannelLayout, settable */
  kAudioDevicePropertyNominalSampleRate = 0x6E737274,      /* 'nsrt' Float64 */
  kAudioDevicePropertyBufferFrameSize = 0x6673697A,        /* 'fsiz' UInt32, frames */
  kAudioDevicePropertyLatency = 0x6C746E63,                /* 'ltnc' UInt32, frames */
  kAudioDevicePropertyDeviceIsRunning = 0x676F696E,        /* 'goin' UInt32 */
  kAudioDevicePropertyDeviceIsAlive = 0x6C69766E,          /* 'livn' UInt32 */
  kAudioDevicePropertyIOStoppedAbnormally = 0x73747064,    /* 'stpd' UInt32: stalled or suspended */
  /* of a stream */
  kAudioStreamPropertyPhysicalFormat = 0x70667420,          /* 'pft ' a description, settable */
  kAudioStreamPropertyAvailablePhysicalFormats = 0x70667461 /* 'pfta' ranged descriptions */
};

enum {
  kAudioHardwareUnspecifiedError = 0x77686174,          /* 'what' */
  kAudioHardwareNotRunningError = 0x73746F70,           /* 'stop' */
  kAudioHardwareUnknownPropertyError = 0x77686F3F,      /* 'who?' */
  kAudioHardwareBadPropertySizeError = 0x2173697A,      /* '!siz' */
  kAudioHardwareIllegalOperationError = 0x6E6F7065,     /* 'nope' */
  kAudioHardwareBadObjectError = 0x216F626A,            /* '!obj' */
  kAudioHardwareBadDeviceError = 0x21646576,            /* '!dev' */
  kAudioHardwareBadStreamError = 0x21737472,            /* '!str' */
  kAudioHardwareUnsupportedOperationError = 0x756E6F70, /* 'unop' */
  kAudioDeviceUnsupportedFormatError = 0x21646174,      /* '!dat' */
  kAudioDevicePermissionsError = 0x21686F67             /* '!hog': in use elsewhere */
};

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 inQualifierDataSize, const void* inQualifierData,
                                        UInt32* outDataSize);

/* ioDataSize: bytes at outData on entry, bytes written on return. If they are too few, an array is
 * cut to whole elements; any other value fails with kAudioHardwareBadPropertySizeError. */
OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData,
                                    UInt32* ioDataSize, void* outData);

OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 inQualifierDataSize, const void* inQualifierData,
                                    UInt32 inDataSize, const void* inData);

/* Reports that properties have changed; their values must be read. Called on a thread of the
 * layer's own, one call at a time. May call anything here, but should return quickly. */
typedef OSStatus (*AudioObjectPropertyListenerProc)(AudioObjectID inObjectID,
                                                    UInt32 inNumberAddresses,
                                                    const AudioObjectPropertyAddress* inAddresses,
                                                    void* inClientData);

/* Reports 'dev#', 'dOut' and 'srst' of the system object and 'livn', 'nsrt' and 'stpd' of a device.
 * The object need not exist. A repeated call with the same arguments has no effect. */
OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        AudioObjectPropertyListenerProc inListener,
                                        void* inClientData);

/* After the return no call of it is running or will run, except one that makes this call itself. */
OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID,
                                           const AudioObjectPropertyAddress* inAddress,
                                           AudioObjectPropertyListenerProc inListener,
                                           void* inClientData);

/* Called on the device's I/O thread once per cycle, with one buffer per output stream, which is
 * zeroed before the cycle's first client; inInputData is empty. */
typedef OSStatus (*AudioDeviceIOProc)(AudioObjectID inDevice, const AudioTimeStamp* inNow,
                                      const AudioBufferList* inInputData,
                                      const AudioTimeStamp* inInputTime,
                                      AudioBufferList* outOutputData,
                                      const AudioTimeStamp* inOutputTime, void* inClientData);

/* Names one registration; not callable. The same procedure may be registered more than once, with
 * other client data. */
typedef AudioDeviceIOProc AudioDeviceIOProcID;

OSStatus AudioDeviceCreateIOProcID(AudioObjectID inDevice, AudioDeviceIOProc inProc,
                                   void* inClientData, AudioDeviceIOProcID* outIOProcID);

/* Stops it first if it runs. After the return no call of the procedure is running or will run,
 * except one that makes this call itself. */
OSStatus AudioDeviceDestroyIOProcID(AudioObjectID inDevice, AudioDeviceIOProcID inIOProcID);

OSStatus AudioDeviceStart(AudioObjectID inDevice, AudioDeviceIOProcID inProcID);

/* After the return no call of the procedure is running or will run, except one that makes this call
 * itself. Returns kAudioHardwareNotRunningError if it was not started. */
OSStatus AudioDeviceStop(AudioObjectID inDevice, AudioDeviceIOProcID inProcID);

#ifdef __cplusplus
}
#endif
