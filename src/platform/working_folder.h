// The folder of the "$TEMP." working files: private to this process and thread, made
// on first use under the system's temporary folder and removed when the thread ends,
// so that two processes or threads never share a "$TEMP.TMP".
#pragma once

#include <string>

#include "platform/drives.h"

namespace tavlin {

// The full path of a working file, e.g. WorkingFile("$TEMP.TMP").
std::string WorkingFile(const std::string& name);

// A working file that is deleted when the scope starts, if an old one stands, and
// again when it ends, however it ends.
class ScopedWorkingFile {
 public:
  ScopedWorkingFile(PlatformState& platform, const std::string& name);
  ~ScopedWorkingFile();
  ScopedWorkingFile(const ScopedWorkingFile&) = delete;
  ScopedWorkingFile& operator=(const ScopedWorkingFile&) = delete;

  const std::string& Path() const { return path_; }
  void Remove() const;

 private:
  PlatformState& platform_;
  std::string path_;
};

}  // namespace tavlin
