#pragma once

#include <CoreAudio/AudioHardware.h>
#include <CoreAudio/CoreAudioTypes.h>
