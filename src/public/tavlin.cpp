#include "tavlin/tavlin.h"

#include <cctype>
#include <climits>

#include "discs/barudan/fdr3_disc.h"
#include "discs/barudan/fmc_disc.h"
#include "platform/run_time_error.h"
#include "state/shared_record.h"
#include "services/design_file_service.h"
#include "services/disc_formatting.h"
#include "services/platform_steps.h"
#include "discs/dos/dos_disc.h"
#include "discs/zsk/zsk_disc.h"

namespace tavlin {

Tavlin::Tavlin() : shared_(ThreadSharedRecord()) {
  shared_.CurrentDrive = 0;
  shared_.MaxStitchLength = 50;
  // Every drive here steers its own sector size and density, as the Windows 95
  // family's controller calls do.
  shared_.PlatformId = 1;
}

int16_t Tavlin::FormatDisc(int16_t formatType) {
  switch (formatType) {
    case FMC: return FormatFloppy(shared_, kFloppyFmc);
    case FDR3: return FormatFloppy(shared_, kFloppyFdr3);
    case ZSKDisc: return FormatFloppy(shared_, kFloppyZsk);
    case DSHD: return 2;
    default:
      if (formatType >= 3 && formatType <= 19) return FormatFloppy(shared_, kFloppyDos);
      return 1;
  }
}

int16_t Tavlin::WriteToDisc(const std::string& sourceFile, const std::string& destFile,
                            int16_t formatType, std::shared_ptr<Progress> pb) {
  shared_.LastDestFile = destFile;
  shared_.CurrentPB = std::move(pb);
  switch (formatType) {
    case FMC: return FmcWrite(shared_, sourceFile);
    case FDR3: return Fdr3Write(shared_, sourceFile, destFile);
    case ZSKDisc: return ZskWrite(shared_, sourceFile);
    case OtherDOS: return DosWrite(shared_, sourceFile, destFile);
    default: return 3;
  }
}

int16_t Tavlin::ReadDisc() {
  const int16_t result = IdentifyDisc(shared_);
  RunToolCommand(shared_, "findformat");
  return result;
}

std::string Tavlin::Files() const { return shared_.DiscFilesText; }

std::string Tavlin::Format() const { return shared_.DiscFormatText; }

int32_t Tavlin::FreeStitches() const {
  // The text holds thousands separators: "387,072".
  const std::string& text = shared_.FreeStitchesText;
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  const bool negative = i < text.size() && text[i] == '-';
  if (negative) ++i;
  long long value = 0;
  bool digits = false;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == ',') continue;
    if (!std::isdigit(static_cast<unsigned char>(c))) break;
    digits = true;
    value = value * 10 + (c - '0');
    if (value > INT32_MAX) return 0;
  }
  if (!digits) return 0;
  return static_cast<int32_t>(negative ? -value : value);
}

int16_t Tavlin::SetDrive() const { return shared_.CurrentDrive; }

void Tavlin::SetDrive(int16_t value) { shared_.CurrentDrive = value; }

void Tavlin::SaveTheVector() { SaveVector(shared_); }

void Tavlin::RestoreTheVector() { RestoreVector(shared_); }

int16_t Tavlin::DiscType() const { return shared_.CurrentDiscType; }

int16_t Tavlin::ReadFromDisc(int16_t fileNumber, const std::string& sourceName,
                             const std::string& destName, int16_t formatType,
                             std::shared_ptr<Progress> pb) {
  shared_.CurrentPB = std::move(pb);
  // The disc routines count entries from 1.
  const int entry = fileNumber + 1;
  switch (formatType) {
    case FMC: return FmcRead(shared_, entry, destName);
    case FDR3: return Fdr3Read(shared_, entry, destName);
    case ZSKDisc: return ZskRead(shared_, entry, destName);
    case OtherDOS: return DosRead(shared_, sourceName, destName);
    default: return 3;
  }
}

int16_t Tavlin::DeleteFromDisc(int16_t fileNumber, const std::string& fileName,
                               int16_t formatType) {
  if (formatType >= FMC && formatType <= ZSKDisc) {
    return WithSectorAccess(shared_, [&]() -> int16_t {
      const int entry = fileNumber + 1;
      switch (formatType) {
        case FMC: return FmcDelete(shared_, entry);
        case FDR3: return Fdr3Delete(shared_, entry);
        default: return ZskDelete(shared_, entry);
      }
    });
  }
  RestoreController(shared_);
  if (formatType != OtherDOS) return 3;
  const int16_t result = DosDelete(shared_, fileName);
  RestoreController(shared_);
  return result;
}

int16_t Tavlin::DirectoryFDR() {
  return WithSectorAccess(shared_, [this] { return Fdr3ListDirectory(shared_); });
}

int16_t Tavlin::DirectoryZSK() {
  return WithSectorAccess(shared_, [this] { return ZskListDirectory(shared_); });
}

int16_t Tavlin::DirectoryFMC() {
  return WithSectorAccess(shared_, [this] { return FmcListDirectory(shared_); });
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
