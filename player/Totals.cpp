#include "player/Totals.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>

#include "player/ExitStatus.h"

namespace Player {

namespace {

nlohmann::ordered_json json(const Totals& totals) {
  const Tavro::LedgerTotals& buffers = totals.buffers;
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
          {"callbacks",
           {{"all", totals.callbacks},
            {"silent", totals.silentCallbacks},
            {"silent_between", totals.silentBetween}}},
          {"cycles",
           {{"all", totals.cycles.cycles},
            {"late", totals.cycles.lateCycles},
            {"frames_played", totals.cycles.framesPlayed},
            {"frames_written", totals.cycles.framesWritten}}},
          {"events_lost", totals.eventsLost},
          {"graph_ms", totals.graphMs},
          {"host_ms", totals.hostMs}};
}

}  // namespace

void writeTotals(const Totals& totals, const std::string& path) {
  const std::string text = json(totals).dump(2) + "\n";
  if (path == "-") {
    std::cout << text << std::flush;
    return;
  }
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) {
    throw PlayerError(ExitStatus::PlaybackFailed, "cannot write the totals to " + path);
  }
}

}  // namespace Player
