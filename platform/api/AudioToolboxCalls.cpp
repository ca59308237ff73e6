// SPDX-License-Identifier: MIT

// The exported functions of graphs.

#include <AudioToolbox/AudioToolbox.h>

#include "platform/api/CallInterceptor.h"
#include "platform/unit/Graph.h"

using Platform::exported;
using Platform::OnFailure;

namespace {

template <class Work>
OSStatus withGraph(AUGraph handle, Work work) {
  const auto graph = Platform::findGraph(handle);
  return graph ? work(*graph) : OSStatus{kAudio_ParamError};
}

}  // namespace

OSStatus NewAUGraph(AUGraph* outGraph) {
  const auto work = [&]() -> OSStatus {
    if (outGraph == nullptr) {
      return kAudio_ParamError;
    }
    *outGraph = Platform::newGraph();
    return noErr;
  };
  return exported("NewAUGraph", OnFailure::DoNothing, {}, work, outGraph);
}

OSStatus DisposeAUGraph(AUGraph inGraph) {
  const auto work = [&]() -> OSStatus {
    return Platform::disposeGraph(inGraph) ? noErr : kAudio_ParamError;
  };
  return exported("DisposeAUGraph", OnFailure::WorkFirst, {}, work, inGraph);
}

OSStatus AUGraphAddNode(AUGraph inGraph, const AudioComponentDescription* inDescription,
                        AUNode* outNode) {
  const auto work = [&]() -> OSStatus {
    if (inDescription == nullptr || outNode == nullptr) {
      return kAudio_ParamError;
    }
    return withGraph(inGraph, [&](auto& graph) { return graph.addNode(*inDescription, *outNode); });
  };
  return exported(
      "AUGraphAddNode", OnFailure::DoNothing,
      {.bytes = inDescription, .count = inDescription != nullptr ? sizeof *inDescription : 0}, work,
      inGraph, inDescription, outNode);
}

OSStatus AUGraphOpen(AUGraph inGraph) {
  const auto work = [&] { return withGraph(inGraph, [](auto& graph) { return graph.open(); }); };
  return exported("AUGraphOpen", OnFailure::DoNothing, {}, work, inGraph);
}

OSStatus AUGraphNodeInfo(AUGraph inGraph, AUNode inNode, AudioComponentDescription* outDescription,
                         AudioUnit* outAudioUnit) {
  const auto work = [&] {
    return withGraph(
        inGraph, [&](auto& graph) { return graph.nodeInfo(inNode, outDescription, outAudioUnit); });
  };
  return exported("AUGraphNodeInfo", OnFailure::DoNothing, {}, work, inGraph, inNode,
                  outDescription, outAudioUnit);
}

OSStatus AUGraphInitialize(AUGraph inGraph) {
  const auto work = [&] {
    return withGraph(inGraph, [](auto& graph) { return graph.initialize(); });
  };
  return exported("AUGraphInitialize", OnFailure::DoNothing, {}, work, inGraph);
}

OSStatus AUGraphStart(AUGraph inGraph) {
  const auto work = [&] { return withGraph(inGraph, [](auto& graph) { return graph.start(); }); };
  return exported("AUGraphStart", OnFailure::DoNothing, {}, work, inGraph);
}

OSStatus AUGraphStop(AUGraph inGraph) {
  const auto work = [&] { return withGraph(inGraph, [](auto& graph) { return graph.stop(); }); };
  return exported("AUGraphStop", OnFailure::WorkFirst, {}, work, inGraph);
}

OSStatus AUGraphIsRunning(AUGraph inGraph, Boolean* outIsRunning) {
  const auto work = [&]() -> OSStatus {
    if (outIsRunning == nullptr) {
      return kAudio_ParamError;
    }
    return withGraph(inGraph, [&](auto& graph) -> OSStatus {
      *outIsRunning = graph.isRunning() ? 1 : 0;
      return noErr;
    });
  };
  return exported("AUGraphIsRunning", OnFailure::DoNothing, {}, work, inGraph, outIsRunning);
}

OSStatus AUGraphClose(AUGraph inGraph) {
  const auto work = [&] { return withGraph(inGraph, [](auto& graph) { return graph.close(); }); };
  return exported("AUGraphClose", OnFailure::WorkFirst, {}, work, inGraph);
}
