#include "state/shared_record.h"
#include "tavlin/drive.h"

namespace tavlin {

void BindDriveImage(int16_t drive, const std::string& imagePath, ImageFamily family) {
  BindImage(ThreadSharedRecord().platform, drive, imagePath, family);
}

void BindDriveDirectory(int16_t drive, const std::string& directory) {
  BindDirectory(ThreadSharedRecord().platform, drive, directory);
}

void UnbindDrive(int16_t drive) { Unbind(ThreadSharedRecord().platform, drive); }

}  // namespace tavlin
