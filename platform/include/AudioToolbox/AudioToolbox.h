// SPDX-License-Identifier: MIT

#pragma once

/* Audio-unit graphs: here, a graph of one output unit. Plain C. Any thread may call; no call is
 * real-time safe. */

#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudioTypes.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct OpaqueAUGraph* AUGraph;
typedef SInt32 AUNode;

enum {
  kAUGraphErr_NodeNotFound = -10860,
  kAUGraphErr_InvalidConnection = -10861,
  kAUGraphErr_OutputNodeErr = -10862,
  kAUGraphErr_CannotDoInCurrentContext = -10863,
  kAUGraphErr_InvalidAudioUnit = -10864
};

OSStatus NewAUGraph(AUGraph* outGraph);
OSStatus DisposeAUGraph(AUGraph inGraph); /* stops and closes it first if needed */
OSStatus AUGraphAddNode(AUGraph inGraph, const AudioComponentDescription* inDescription,
                        AUNode* outNode);
OSStatus AUGraphOpen(AUGraph inGraph); /* creates the units of the nodes */
OSStatus AUGraphNodeInfo(AUGraph inGraph, AUNode inNode, AudioComponentDescription* outDescription,
                         AudioUnit* outAudioUnit);
OSStatus AUGraphInitialize(AUGraph inGraph);
OSStatus AUGraphStart(AUGraph inGraph);

/* After the return no render callback is running or will run, except one that makes the call
 * itself. The same holds for close and dispose. */
OSStatus AUGraphStop(AUGraph inGraph);
OSStatus AUGraphIsRunning(AUGraph inGraph, Boolean* outIsRunning);
OSStatus AUGraphClose(AUGraph inGraph);

#ifdef __cplusplus
}
#endif
