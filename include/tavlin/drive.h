// Binding the floppy drives A: and B: to disc image files or host directories.
// Floppy emulators load raw sector images, so an image behaves exactly as a disc
// in the drive would.
#pragma once

#include <cstdint>
#include <string>

namespace tavlin {

// The layouts of the raw images: sectors by cylinder, then head, then sector id.
enum class ImageFamily {
  FromSize,  // tell it from the file's size
  Fmc,       // 82 x 2 x 16 x 256
  Fdr3,      // 80 x 2 x 16 x 256
  Zsk,       // 80 x 2 x 16 x 256
  Dos720,    // 80 x 2 x 9 x 512
  Dos1440,   // 80 x 2 x 18 x 512, high density
};

// These act on the calling thread's drives, which every Tavlin object on the thread
// shares. They throw std::runtime_error with a one-line reason when the image or the
// directory can't be used.
void BindDriveImage(int16_t drive, const std::string& imagePath,
                    ImageFamily family = ImageFamily::FromSize);
void BindDriveDirectory(int16_t drive, const std::string& directory);
void UnbindDrive(int16_t drive);

// Bytes of an image of the family (FromSize gives 0).
int64_t ImageBytes(ImageFamily family);

}  // namespace tavlin
