// SPDX-License-Identifier: MIT

#include "platform/system/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Platform {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNewFile = 0666;
constexpr int kMaxLinks = 40;
constexpr int kMaxParts = 100;

/// Follows symbolic links to a name, which need not exist; stops at the kernel's links to open
/// files.
std::string resolve(fs::path path) {
  std::error_code error;
  for (int i = 0; i < kMaxLinks; ++i) {
    const bool isKernels = path.string().starts_with("/proc/");
    if (isKernels || !fs::is_symlink(fs::symlink_status(path, error))) {
      break;
    }
    path = path.parent_path() / fs::read_symlink(path, error);
  }
  return path.string();
}

bool isSpecial(const std::string& path) {
  return path.starts_with("/dev/") || path.starts_with("/proc/");
}

bool isSameFile(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

std::optional<struct stat> statusOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

}  // namespace

OutputFile::OutputFile(const std::string& path)
    : m_target(resolve(path)), m_former(statusOf(m_target)) {
  if (isSpecial(m_target) || (m_former && !S_ISREG(m_former->st_mode))) {
    m_descriptor = ::open(m_target.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, kNewFile);
    m_error = m_descriptor < 0 ? errno : 0;
  } else if (m_former && ::faccessat(AT_FDCWD, m_target.c_str(), W_OK, AT_EACCESS) != 0) {
    m_error = errno;
  } else {
    openPart();
  }
}

/// Uses a free name: an existing part file may be all that is left of an earlier run.
void OutputFile::openPart() {
  for (int i = 1; i <= kMaxParts && m_descriptor < 0; ++i) {
    m_part = m_target + ".part" + (i > 1 ? std::to_string(i) : "");
    m_descriptor = ::open(m_part.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, kNewFile);
    m_error = m_descriptor < 0 ? errno : 0;
    if (m_error != 0 && m_error != EEXIST) {
      return;
    }
  }
  if (m_descriptor >= 0 && m_former) {
    ::fchmod(m_descriptor, m_former->st_mode & 0777);
  }
}

std::optional<int> OutputFile::loss() const {
  struct stat opened {};
  if (m_descriptor < 0 || ::fstat(m_descriptor, &opened) != 0) {
    return std::nullopt;
  }
  const auto named = statusOf(isDirect() ? m_target : m_part);
  if (!named) {
    return errno;
  }
  return isSameFile(opened, *named) ? std::nullopt : std::optional(0);
}

/// Another program may have written to the path meanwhile, or replaced the file by one that reuses
/// its inode number.
bool OutputFile::isTargetUnchanged() const {
  const auto now = statusOf(m_target);
  if (!now || !m_former) {
    return !now && !m_former;
  }
  return isSameFile(*now, *m_former) && now->st_mtim.tv_sec == m_former->st_mtim.tv_sec &&
         now->st_mtim.tv_nsec == m_former->st_mtim.tv_nsec;
}

std::string OutputFile::commit() {
  const bool isUnchanged = isDirect() || isTargetUnchanged();
  if (::close(std::exchange(m_descriptor, -1)) != 0) {
    return std::generic_category().message(errno);
  }
  if (!isUnchanged) {
    return "another file has taken its place";
  }
  if (!isDirect() && std::rename(m_part.c_str(), m_target.c_str()) != 0) {
    return std::generic_category().message(errno);
  }
  return "";
}

void OutputFile::keep() {
  if (m_descriptor >= 0) {
    ::close(std::exchange(m_descriptor, -1));
  }
}

void OutputFile::discard() {
  if (m_descriptor >= 0 && !isDirect() && !loss()) {
    ::unlink(m_part.c_str());
  }
  keep();
}

}  // namespace Platform
