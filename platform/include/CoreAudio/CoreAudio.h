// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/AudioHardware.h>
#include <CoreAudio/CoreAudioTypes.h>
