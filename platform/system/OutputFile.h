// SPDX-License-Identifier: MIT

#pragma once

/// The file behind a path that a program writes to. The data goes to PATH.part beside it, which
/// replaces PATH only when complete; a link is kept, and its target replaced. Anything but a
/// regular file (a device, a pipe) is written directly. Callers must serialize their calls.

#include <optional>
#include <string>
#include <sys/stat.h>

namespace Platform {

class OutputFile {
 public:
  /// Opens it; a regular file at PATH is not touched. If descriptor() is -1, error() is the errno.
  explicit OutputFile(const std::string& path);
  ~OutputFile() { discard(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  int descriptor() const { return m_descriptor; }  // -1 if not open
  int error() const { return m_error; }
  bool isDirect() const { return m_part.empty(); }
  const std::string& partPath() const { return m_part; }  // empty if direct

  /// Returns nothing if the data is still under its name; else errno, or 0 for another file there.
  std::optional<int> loss() const;

  /// Closes it and moves it into place. Returns an empty string, or the reason of a failure; the
  /// data then stays in partPath().
  std::string commit();

  void keep();     // closes it; the data stays in partPath()
  void discard();  // closes and removes it; no effect once closed

 private:
  void openPart();
  bool isTargetUnchanged() const;

  std::string m_target;  // with all links resolved
  std::string m_part;
  std::optional<struct stat> m_former;  // the target when it was opened
  int m_descriptor = -1;
  int m_error = 0;
};

}  // namespace Platform
