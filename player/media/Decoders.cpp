// SPDX-License-Identifier: MIT

#include "player/media/Decoders.h"

#include <fmt/format.h>

#include <dlfcn.h>

#include "tavro_core/Bundle.h"

namespace Player {

namespace {

constexpr const char* kPackages = "libavformat59 libavcodec59 libavutil57 libswresample4";

/// Binds lazily: the module resolves its own symbols at once, the libraries behind it only what
/// they call.
const Decoders& load() {
  const std::string path = Tavro::modulePath(kDecodersModule);
  void* const module = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
  void* const found = module != nullptr ? dlsym(module, kDecodersEntry) : nullptr;
  if (found == nullptr) {
    throw InputError(fmt::format("needs FFmpeg's libraries: {}; install {}", dlerror(), kPackages));
  }
  return *static_cast<const Decoders*>(found);
}

}  // namespace

const Decoders& decoders() {
  static const Decoders& loaded = load();
  return loaded;
}

std::unique_ptr<BurstReader> readBursts(Track track, std::uint32_t rate) {
  return decoders().readBursts(std::move(track), rate);
}

}  // namespace Player
