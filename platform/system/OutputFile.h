#pragma once

/// The file behind a path that a program writes to. The data goes to PATH.part beside it, which
/// takes the place of PATH only when it is complete; a link stays, and what it points to is
/// replaced. What is not a regular file (a device, a pipe) is written directly. Callers take turns.

#include <optional>
#include <string>
#include <sys/stat.h>

namespace Platform {

class OutputFile {
 public:
  /// Opens it; PATH itself is not touched. Without a descriptor() afterwards, error() says why.
  explicit OutputFile(const std::string& path);
  ~OutputFile() { discard(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  int descriptor() const { return m_descriptor; }  // -1: not open
  int error() const { return m_error; }
  bool isDirect() const { return m_part.empty(); }
  const std::string& partPath() const { return m_part; }  // empty when direct

  /// Whether the data can still be found under its name; else errno, or 0 for another file there.
  std::optional<int> loss() const;

  /// Closes it and puts it in its place. Returns why not, or an empty string; the data stays in
  /// partPath() then.
  std::string commit();

  void keep();     // closes it; the data stays in partPath()
  void discard();  // closes and removes it; no effect once it is closed

 private:
  void openPart();
  bool isTargetUnchanged() const;

  std::string m_target;  // behind all links
  std::string m_part;
  std::optional<struct stat> m_former;  // what the target was at first
  int m_descriptor = -1;
  int m_error = 0;
};

}  // namespace Platform
