// Tavlin: embroidery designs onto and off the floppy discs of commercial embroidery
// machines, and stitch files converted between machine formats.
//
// The class Tavlin is the clsTavlin surface of the COM server, member for member, in
// C++ types. Every Tavlin object created on a thread shares that thread's working
// record (drive, last listing, free room ...), as objects in one COM apartment do.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tavlin/drive.h"
#include "tavlin/progress.h"

namespace tavlin {

// Format types of the disc methods.
enum FormatT : int32_t {
  FMC = 0,
  FDR3 = 1,
  ZSKDisc = 2,
  OtherDOS = 3,
  DSHD = 17,
};

struct SharedRecord;

class Tavlin {
 public:
  // Sets the drive to A: and the longest stitch to 50 (0.1 mm) for the thread.
  Tavlin();

  int16_t FormatDisc(int16_t formatType);
  int16_t WriteToDisc(const std::string& sourceFile, const std::string& destFile,
                      int16_t formatType, std::shared_ptr<Progress> pb = nullptr);
  int16_t ReadDisc();
  std::string Files() const;
  std::string Format() const;
  int32_t FreeStitches() const;
  int16_t SetDrive() const;
  void SetDrive(int16_t value);
  void SaveTheVector();
  void RestoreTheVector();
  int16_t DiscType() const;
  int16_t ReadFromDisc(int16_t fileNumber, const std::string& sourceName,
                       const std::string& destName, int16_t formatType,
                       std::shared_ptr<Progress> pb = nullptr);
  int16_t DeleteFromDisc(int16_t fileNumber, const std::string& fileName, int16_t formatType);
  int16_t DirectoryFDR();
  int16_t DirectoryZSK();
  int16_t DirectoryFMC();
  bool Format720();
  int16_t MaxStitchLen() const;
  void MaxStitchLen(int16_t value);
  void PESAbosulte(bool value);
  std::string HoopSize() const;
  void HoopSize(const std::string& value);
  int16_t ConvertFile(const std::string& sourceFile, const std::string& destFile);

 private:
  SharedRecord& shared_;
};

}  // namespace tavlin
