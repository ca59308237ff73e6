// SPDX-License-Identifier: MIT

#include "player/media/InputKind.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace Player {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kBytesOfText = 512;

std::string extensionOf(const fs::path& path) {
  std::string extension = path.extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

template <std::size_t count>
bool isOneOf(const std::string& extension, const std::array<const char*, count>& list) {
  return std::ranges::find(list, extension) != list.end();
}

std::string folderText(const fs::path& folder) {
  constexpr std::array kSound = {".flac", ".mp3", ".ogg",  ".opus", ".m4a", ".wav",
                                 ".aac",  ".ac3", ".aiff", ".wma",  ".mka", ".mp4"};
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
    if (isOneOf(extensionOf(entry.path()), kSound)) {
      const std::string pattern = "*" + entry.path().extension().string();
      return fmt::format("is a folder; name files in it, e.g. {}", (folder / pattern).string());
    }
  }
  return "is a folder; name files instead";
}

bool isText(const fs::path& path) {
  std::string bytes(kBytesOfText, '\0');
  std::ifstream file(path, std::ios::binary);
  file.read(bytes.data(), kBytesOfText);
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  return std::ranges::all_of(bytes, [](unsigned char c) {
    return c >= 0x80 || (c >= 0x20 && c < 0x7f) || (c >= '\t' && c <= '\r');
  });
}

}  // namespace

std::string kindOfOtherInput(const std::string& path) {
  constexpr std::array kPlaylists = {".m3u", ".m3u8", ".pls", ".cue", ".xspf"};
  std::error_code ignored;
  if (fs::is_directory(path, ignored)) {
    return folderText(path);
  }
  if (!fs::is_regular_file(path, ignored)) {
    return "";
  }
  if (fs::file_size(path, ignored) == 0) {
    return "is empty";
  }
  if (!isText(path)) {
    return "";
  }
  return isOneOf(extensionOf(path), kPlaylists)
             ? "is a playlist, which is not supported; name the files that it lists"
             : "is a text file, not audio";
}

}  // namespace Player
