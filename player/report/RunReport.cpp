// SPDX-License-Identifier: MIT

#include "player/report/RunReport.h"

#include <nlohmann/json.hpp>

#include "player/base/JsonFile.h"

namespace Player {

namespace {

nlohmann::ordered_json json(const RunReport& totals) {
  const Tavro::LedgerTotals& buffers = totals.buffers;
  const PassthroughTotals& bursts = totals.passthrough;
  return {{"version", PLAYER_VERSION},
          {"device", totals.device},
          {"simulated", totals.simulated},
          {"exit_status", totals.exitStatus},
          {"buffers",
           {{"pulled", buffers.pulled},
            {"pieces", buffers.pieces},
            {"played", buffers.played},
            {"dropped_late", buffers.droppedLate},
            {"without_report", buffers.withoutReport},
            {"cleared", buffers.cleared},
            {"held", buffers.held},
            {"balanced", buffers.balanced()}}},
          {"passthrough",
           {{"frames_read", bursts.framesRead},
            {"bursts_handed_over", bursts.burstsHandedOver},
            {"bursts_accepted", bursts.burstsAccepted},
            {"violations", bursts.violations},
            {"pauses", bursts.pauses},
            {"sent_again", bursts.sentAgain}}},
          {"callbacks",
           {{"all", totals.callbacks},
            {"silent", totals.silentCallbacks},
            {"silent_between", totals.silentBetween}}},
          {"seeks", totals.seeks},
          {"cycles",
           {{"all", totals.cycles.cycles},
            {"late", totals.cycles.lateCycles},
            {"underruns", totals.cycles.underruns},
            {"latency_frames", totals.cycles.latencyFrames},
            {"frames_played", totals.cycles.framesPlayed},
            {"frames_heard", totals.cycles.framesHeard},
            {"frames_written", totals.cycles.framesWritten}}},
          {"drift_ppm",
           totals.cycles.driftPpm ? nlohmann::ordered_json(*totals.cycles.driftPpm) : nullptr},
          {"events_lost", totals.eventsLost},
          {"graph_ms", totals.graphMs},
          {"host_ms", totals.hostMs}};
}

}  // namespace

void writeRunReport(const RunReport& totals, const std::string& path) {
  writeJson(json(totals), path);
}

}  // namespace Player
