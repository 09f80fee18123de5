#include "discs/disc_transfer.h"

#include <cstdio>

#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "platform/files.h"
#include "platform/working_folder.h"
#include "services/sector_service.h"

namespace tavlin {

void StartListing(SharedRecord& shared, int16_t discType) {
  shared.CurrentDiscType = discType;
  shared.ClearListingText();
  shared.DiscFormatText.clear();
  shared.FreeStitchesText = "0";
  shared.SectorBuffer.fill(0);
  shared.SectorBufferLen = static_cast<int16_t>(kSectorBufferBytes);
}

void AddListingLine(SharedRecord& shared, const std::string& name, int64_t number) {
  char count[24];
  std::snprintf(count, sizeof count, " %8lld", static_cast<long long>(number));
  shared.AddListingLine(name, number, name + count);
}

int64_t StitchesInRoom(int64_t freeBytes) {
  return freeBytes < 515 ? 0 : (freeBytes - 515) / 3;
}

int LowestFreeNumber(const std::function<bool(int)>& taken) {
  for (int number = 1; number <= 99; ++number) {
    if (!taken(number)) return number;
  }
  return 0;
}

int16_t ConvertForDisc(SharedRecord& shared, const std::string& sourceFile,
                       std::string_view recordFormat, const std::string& workingPath) {
  int16_t destType = FindFormatCode(recordFormat);
  int16_t sourceType = FindFormatCode(sourceFile, shared.AsOtherProgramsDo);
  if (sourceType < 0) return 2;
  std::string resolved;
  return ConvertStitchFile(shared, sourceType, destType, sourceFile, workingPath, resolved);
}

int16_t DeliverFromDisc(SharedRecord& shared, std::string_view recordFormat,
                        const std::string& destName,
                        const std::function<bool(BufferedFile&)>& gather) {
  const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
  bool gathered = false;
  {
    BufferedFile out(OpenFile(shared.platform, working.Path()));
    SetVector25632(shared.platform);
    SetDiscDSDD32(shared.platform);
    out.Write(std::string(512, ' '));
    gathered = gather(out);
  }
  if (!gathered) return 1;
  // The disc routines don't look at the conversion's result: the host finds the file.
  int16_t sourceType = FindFormatCode(recordFormat);
  int16_t destType = FindFormatCode("QEP");
  std::string resolved;
  ConvertStitchFile(shared, sourceType, destType, working.Path(), destName, resolved);
  return 0;
}

}  // namespace tavlin
