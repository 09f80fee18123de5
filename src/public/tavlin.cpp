#include "tavlin/tavlin.h"

#include "conversion/numbers.h"
#include "discs/disc_families.h"
#include "discs/disc_formatting.h"
#include "discs/disc_identification.h"
#include "services/design_file_service.h"
#include "services/platform_steps.h"
#include "state/shared_record.h"

namespace tavlin {

namespace {

int16_t ListWithSectorAccess(SharedRecord& shared, DiscFamilyId id) {
  const DiscFamilyRecord& family = DiscFamilyById(id);
  return WithSectorAccess(shared, [&] { return family.list(shared); });
}

}  // namespace

Tavlin::Tavlin() : shared_(ThreadSharedRecord()) {
  shared_.CurrentDrive = 0;
  shared_.MaxStitchLength = 50;
  // Every drive here steers its own sector size and density, as the Windows 95
  // family's controller calls do.
  shared_.PlatformId = 1;
}

int16_t Tavlin::FormatDisc(int16_t formatType) {
  // A high-density disc isn't formatted; every other DOS machine's type, 3 to 19, gets
  // the same 720 KB DOS disc.
  if (formatType == DSHD) return 2;
  const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType);
  if (family == nullptr && formatType >= 3 && formatType <= 19) {
    family = &DiscFamilyById(DiscFamilyId::Dos);
  }
  if (family == nullptr) return 1;
  return FormatFloppy(shared_, *family);
}

int16_t Tavlin::WriteToDisc(const std::string& sourceFile, const std::string& destFile,
                            int16_t formatType, std::shared_ptr<Progress> pb) {
  shared_.LastDestFile = destFile;
  shared_.CurrentPB = std::move(pb);
  const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType);
  if (family == nullptr) return 3;
  return family->write(shared_, sourceFile, destFile);
}

int16_t Tavlin::ReadDisc() {
  const int16_t result = IdentifyDisc(shared_);
  RunToolCommand(shared_, "findformat");
  return result;
}

std::string Tavlin::Files() const { return shared_.DiscFilesText; }

std::string Tavlin::Format() const { return shared_.DiscFormatText; }

int32_t Tavlin::FreeStitches() const { return ThousandsValue(shared_.FreeStitchesText); }

int16_t Tavlin::SetDrive() const { return shared_.CurrentDrive; }

void Tavlin::SetDrive(int16_t value) { shared_.CurrentDrive = value; }

void Tavlin::SaveTheVector() { SaveVector(shared_); }

void Tavlin::RestoreTheVector() { RestoreVector(shared_); }

int16_t Tavlin::DiscType() const { return shared_.CurrentDiscType; }

int16_t Tavlin::ReadFromDisc(int16_t fileNumber, const std::string& sourceName,
                             const std::string& destName, int16_t formatType,
                             std::shared_ptr<Progress> pb) {
  shared_.CurrentPB = std::move(pb);
  const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType);
  if (family == nullptr) return 3;
  // The disc routines count entries from 1.
  return family->read(shared_, fileNumber + 1, sourceName, destName);
}

int16_t Tavlin::DeleteFromDisc(int16_t fileNumber, const std::string& fileName,
                               int16_t formatType) {
  const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType);
  const int entry = fileNumber + 1;
  if (family != nullptr && family->sectorAccess) {
    return WithSectorAccess(shared_, [&] { return family->remove(shared_, entry, fileName); });
  }
  // A delete by file name, or of no family, leaves the controller restored.
  RestoreController(shared_);
  if (family == nullptr) return 3;
  const int16_t result = family->remove(shared_, entry, fileName);
  RestoreController(shared_);
  return result;
}

int16_t Tavlin::DirectoryFDR() {
  return ListWithSectorAccess(shared_, DiscFamilyId::Fdr3);
}

int16_t Tavlin::DirectoryZSK() {
  return ListWithSectorAccess(shared_, DiscFamilyId::Zsk);
}

int16_t Tavlin::DirectoryFMC() {
  return ListWithSectorAccess(shared_, DiscFamilyId::Fmc);
}

bool Tavlin::Format720() { return FormatDos720(shared_); }

int16_t Tavlin::MaxStitchLen() const { return shared_.MaxStitchLength; }

void Tavlin::MaxStitchLen(int16_t value) {
  shared_.MaxStitchLength = value >= 20 && value <= 121 ? value : int16_t{40};
}

void Tavlin::PESAbosulte(bool value) { shared_.PESAbosulteFlag = value; }

std::string Tavlin::HoopSize() const { return shared_.HoopSizeText; }

// A host's hoop is taken and not used: the conversion alone chooses the hoop.
void Tavlin::HoopSize(const std::string&) {}

int16_t Tavlin::ConvertFile(const std::string& sourceFile, const std::string& destFile) {
  return ConvertDesignFile(shared_, sourceFile, destFile);
}

}  // namespace tavlin
