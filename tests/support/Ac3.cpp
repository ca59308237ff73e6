#include "tests/support/Ac3.h"

namespace {

std::string noiseSource(const Ac3Shape& shape) {
  return "anoisesrc=color=pink:seed=7:r=" + std::to_string(shape.rate) +
         ":d=" + std::to_string(shape.seconds);
}

}  // namespace

void Ac3Workbench::encode(const std::string& name, const Ac3Shape& shape) const {
  ffmpeg({"-f", "lavfi", "-i", noiseSource(shape), "-ac", std::to_string(shape.channels), "-c:a",
          "ac3", "-b:a", std::to_string(shape.kilobits) + "k", name});
}

Bytes Ac3Workbench::received(const std::string& name) const {
  ffmpeg({"-f", "spdif", "-i", name, "-c", "copy", "-f", "ac3", "received"});
  return readFile(path("received"));
}

std::vector<Bytes> Ac3Workbench::framesOf(const Bytes& file, std::size_t frameBytes) {
  std::vector<Bytes> frames;
  for (auto at = file.begin(); file.end() - at >= static_cast<std::ptrdiff_t>(frameBytes);
       at += static_cast<std::ptrdiff_t>(frameBytes)) {
    frames.emplace_back(at, at + static_cast<std::ptrdiff_t>(frameBytes));
  }
  return frames;
}

Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) {
    all.insert(all.end(), part.begin(), part.end());
  }
  return all;
}
