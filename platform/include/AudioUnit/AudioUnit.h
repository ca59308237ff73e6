// SPDX-License-Identifier: MIT

#pragma once

/* Audio units: here, the output unit that a graph holds. Plain C. Any thread may call; no call is
 * real-time safe. */

#include <CoreAudio/CoreAudioTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct AudioComponentDescription {
  OSType componentType;
  OSType componentSubType;
  OSType componentManufacturer;
  UInt32 componentFlags;
  UInt32 componentFlagsMask;
} AudioComponentDescription;

enum {
  kAudioUnitType_Output = 0x61756F75,           /* 'auou' */
  kAudioUnitSubType_DefaultOutput = 0x64656620, /* 'def ' */
  kAudioUnitManufacturer_Apple = 0x6170706C     /* 'appl' */
};

typedef struct OpaqueAudioComponentInstance* AudioComponentInstance;
typedef AudioComponentInstance AudioUnit;
typedef UInt32 AudioUnitPropertyID;
typedef UInt32 AudioUnitParameterID;
typedef UInt32 AudioUnitScope;
typedef UInt32 AudioUnitElement;
typedef Float32 AudioUnitParameterValue;
typedef UInt32 AudioUnitRenderActionFlags;

enum { kAudioUnitScope_Global = 0, kAudioUnitScope_Input = 1, kAudioUnitScope_Output = 2 };

enum {
  kAudioUnitProperty_StreamFormat = 8,           /* AudioStreamBasicDescription, input scope */
  kAudioUnitProperty_Latency = 12,               /* Float64, seconds, read only */
  kAudioUnitProperty_SetRenderCallback = 23,     /* AURenderCallbackStruct, input scope */
  kAudioOutputUnitProperty_CurrentDevice = 2000, /* AudioDeviceID, global scope */
  kAudioOutputUnitProperty_ChannelMap = 2002     /* SInt32[], output scope: entry i is the stream
                                                    channel on device channel i, or -1 */
};

enum { kHALOutputParam_Volume = 14 }; /* linear gain, 0.0 to 1.0 inclusive, global scope */

enum { kAudioUnitRenderAction_OutputIsSilence = 1U << 4 };

enum {
  kAudioUnitErr_InvalidProperty = -10879,
  kAudioUnitErr_InvalidParameter = -10878,
  kAudioUnitErr_InvalidElement = -10877,
  kAudioUnitErr_NoConnection = -10876,
  kAudioUnitErr_FailedInitialization = -10875,
  kAudioUnitErr_TooManyFramesToProcess = -10874,
  kAudioUnitErr_FormatNotSupported = -10868,
  kAudioUnitErr_Uninitialized = -10867,
  kAudioUnitErr_CannotDoInCurrentContext = -10863, /* from inside the unit's own callback */
  kAudioUnitErr_InvalidScope = -10866,
  kAudioUnitErr_PropertyNotWritable = -10865,
  kAudioUnitErr_InvalidPropertyValue = -10851,
  kAudioUnitErr_PropertyNotInUse = -10850
};

/* Called on the device's I/O thread, never concurrently for one unit. Fills ioData->mBuffers[0]
 * with inNumberFrames frames of the unit's stream format; an error, or missing data, plays as
 * silence. May take a short lock of its own; must not allocate, log, open files or wait. */
typedef OSStatus (*AURenderCallback)(void* inRefCon, AudioUnitRenderActionFlags* ioActionFlags,
                                     const AudioTimeStamp* inTimeStamp, UInt32 inBusNumber,
                                     UInt32 inNumberFrames, AudioBufferList* ioData);

typedef struct AURenderCallbackStruct {
  AURenderCallback inputProc;
  void* inputProcRefCon;
} AURenderCallbackStruct;

OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID,
                                  AudioUnitScope inScope, AudioUnitElement inElement,
                                  UInt32* outDataSize, Boolean* outWritable);

OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize);

OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize);

OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue* outValue);

OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue,
                               UInt32 inBufferOffsetInFrames);

/* Discards earlier sound that the unit's converter holds. */
OSStatus AudioUnitReset(AudioUnit inUnit, AudioUnitScope inScope, AudioUnitElement inElement);

#ifdef __cplusplus
}
#endif
