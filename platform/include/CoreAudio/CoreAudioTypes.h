// SPDX-License-Identifier: MIT

#pragma once

/* Types, constants and structures of the audio service. Plain C. */

#include <stdint.h>

typedef uint8_t UInt8;
typedef uint16_t UInt16;
typedef int16_t SInt16;
typedef uint32_t UInt32;
typedef int32_t SInt32;
typedef uint64_t UInt64;
typedef int64_t SInt64;
typedef float Float32;
typedef double Float64;
typedef unsigned char Boolean;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

enum {
  noErr = 0,
  kAudio_ParamError = -50, /* a null pointer or an unknown handle */
  kAudio_MemFullError = -108
};

/* Formats */

typedef UInt32 AudioFormatID;
typedef UInt32 AudioFormatFlags;

enum {
  kAudioFormatLinearPCM = 0x6C70636D, /* 'lpcm' */
  kAudioFormatAC3 = 0x61632D33,       /* 'ac-3' */
  kAudioFormat60958AC3 = 0x63616333   /* 'cac3' */
};

enum {
  kAudioFormatFlagIsFloat = 1U << 0,
  kAudioFormatFlagIsBigEndian = 1U << 1,
  kAudioFormatFlagIsSignedInteger = 1U << 2,
  kAudioFormatFlagIsPacked = 1U << 3,
  kAudioFormatFlagIsAlignedHigh = 1U << 4,
  kAudioFormatFlagIsNonInterleaved = 1U << 5,
  kAudioFormatFlagIsNonMixable = 1U << 6
};

/* Always interleaved. A packet is one frame of linear PCM, or one AC-3 burst of 1536 frames. */
typedef struct AudioStreamBasicDescription {
  Float64 mSampleRate; /* frames per second */
  AudioFormatID mFormatID;
  AudioFormatFlags mFormatFlags;
  UInt32 mBytesPerPacket;
  UInt32 mFramesPerPacket;
  UInt32 mBytesPerFrame;
  UInt32 mChannelsPerFrame;
  UInt32 mBitsPerChannel;
  UInt32 mReserved;
} AudioStreamBasicDescription;

typedef struct AudioValueRange {
  Float64 mMinimum;
  Float64 mMaximum;
} AudioValueRange;

typedef struct AudioStreamRangedDescription {
  AudioStreamBasicDescription mFormat;
  AudioValueRange mSampleRateRange;
} AudioStreamRangedDescription;

/* Buffers */

typedef struct AudioBuffer {
  UInt32 mNumberChannels;
  UInt32 mDataByteSize; /* capacity on entry, content on return */
  void* mData;
} AudioBuffer;

typedef struct AudioBufferList {
  UInt32 mNumberBuffers;
  AudioBuffer mBuffers[1]; /* mNumberBuffers of them */
} AudioBufferList;

/* Time stamps */

typedef struct SMPTETime {
  SInt16 mSubframes;
  SInt16 mSubframeDivisor;
  UInt32 mCounter;
  UInt32 mType;
  UInt32 mFlags;
  SInt16 mHours;
  SInt16 mMinutes;
  SInt16 mSeconds;
  SInt16 mFrames;
} SMPTETime;

enum { kAudioTimeStampSampleTimeValid = 1U << 0, kAudioTimeStampHostTimeValid = 1U << 1 };

typedef struct AudioTimeStamp {
  Float64 mSampleTime; /* device frames since its start */
  UInt64 mHostTime;    /* nanoseconds, when the cycle is due */
  Float64 mRateScalar;
  UInt64 mWordClockTime;
  SMPTETime mSMPTETime;
  UInt32 mFlags;
  UInt32 mReserved;
} AudioTimeStamp;

/* Channel layouts */

typedef UInt32 AudioChannelLabel;
typedef UInt32 AudioChannelLayoutTag;
typedef UInt32 AudioChannelBitmap;
typedef UInt32 AudioChannelFlags;

enum {
  kAudioChannelLabel_Unknown = 0xFFFFFFFF,
  kAudioChannelLabel_Unused = 0,
  kAudioChannelLabel_Left = 1,
  kAudioChannelLabel_Right = 2,
  kAudioChannelLabel_Center = 3,
  kAudioChannelLabel_LFEScreen = 4,
  kAudioChannelLabel_LeftSurround = 5,
  kAudioChannelLabel_RightSurround = 6,
  kAudioChannelLabel_LeftCenter = 7,
  kAudioChannelLabel_RightCenter = 8,
  kAudioChannelLabel_CenterSurround = 9,
  kAudioChannelLabel_RearSurroundLeft = 33,
  kAudioChannelLabel_RearSurroundRight = 34,
  kAudioChannelLabel_Mono = 42
};

/* The low 16 bits are the number of channels. */
#define kAudioChannelLayoutTag_UseChannelDescriptions ((AudioChannelLayoutTag)0x00000000)
#define kAudioChannelLayoutTag_UseChannelBitmap ((AudioChannelLayoutTag)0x00010000)
#define kAudioChannelLayoutTag_Mono ((AudioChannelLayoutTag)0x00640001)
#define kAudioChannelLayoutTag_Stereo ((AudioChannelLayoutTag)0x00650002)
#define kAudioChannelLayoutTag_Quadraphonic ((AudioChannelLayoutTag)0x006C0004)
#define kAudioChannelLayoutTag_Pentagonal ((AudioChannelLayoutTag)0x006D0005)
#define kAudioChannelLayoutTag_Hexagonal ((AudioChannelLayoutTag)0x006E0006)
#define kAudioChannelLayoutTag_Octagonal ((AudioChannelLayoutTag)0x006F0008)
#define kAudioChannelLayoutTag_MPEG_5_0_B ((AudioChannelLayoutTag)0x00760005)
#define kAudioChannelLayoutTag_MPEG_5_1_A ((AudioChannelLayoutTag)0x00790006)
#define kAudioChannelLayoutTag_MPEG_5_1_B ((AudioChannelLayoutTag)0x007A0006)
#define kAudioChannelLayoutTag_MPEG_6_1_A ((AudioChannelLayoutTag)0x007D0007)
#define kAudioChannelLayoutTag_MPEG_7_1_A ((AudioChannelLayoutTag)0x007E0008)
#define kAudioChannelLayoutTag_MPEG_7_1_C ((AudioChannelLayoutTag)0x00800008)
#define kAudioChannelLayoutTag_AudioUnit_4 kAudioChannelLayoutTag_Quadraphonic
#define kAudioChannelLayoutTag_AudioUnit_5 kAudioChannelLayoutTag_Pentagonal
#define kAudioChannelLayoutTag_AudioUnit_6 kAudioChannelLayoutTag_Hexagonal
#define kAudioChannelLayoutTag_AudioUnit_8 kAudioChannelLayoutTag_Octagonal
#define kAudioChannelLayoutTag_AudioUnit_5_0 kAudioChannelLayoutTag_MPEG_5_0_B
#define kAudioChannelLayoutTag_AudioUnit_5_1 kAudioChannelLayoutTag_MPEG_5_1_A
#define kAudioChannelLayoutTag_AudioUnit_6_0 ((AudioChannelLayoutTag)0x008B0006)
#define kAudioChannelLayoutTag_AudioUnit_6_1 kAudioChannelLayoutTag_MPEG_6_1_A
#define kAudioChannelLayoutTag_AudioUnit_7_0 ((AudioChannelLayoutTag)0x008C0007)
#define kAudioChannelLayoutTag_AudioUnit_7_0_Front ((AudioChannelLayoutTag)0x00940007)
#define kAudioChannelLayoutTag_AudioUnit_7_1 kAudioChannelLayoutTag_MPEG_7_1_C
#define kAudioChannelLayoutTag_AudioUnit_7_1_Front kAudioChannelLayoutTag_MPEG_7_1_A

typedef struct AudioChannelDescription {
  AudioChannelLabel mChannelLabel;
  AudioChannelFlags mChannelFlags;
  Float32 mCoordinates[3];
} AudioChannelDescription;

typedef struct AudioChannelLayout {
  AudioChannelLayoutTag mChannelLayoutTag;
  AudioChannelBitmap mChannelBitmap;
  UInt32 mNumberChannelDescriptions;
  AudioChannelDescription mChannelDescriptions[1]; /* mNumberChannelDescriptions of them */
} AudioChannelLayout;
