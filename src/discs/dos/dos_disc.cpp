// DosWrite, DosRead, DosDelete: designs as files on a DOS disc, converted on the way by
// their extensions; the formats only the design-file service knows go by a DST file.
#include "discs/dos/dos_disc.h"

#include <cctype>
#include <vector>

#include "conversion/buffered_file.h"
#include "conversion/convert.h"
#include "conversion/format_table.h"
#include "conversion/numbers.h"
#include "conversion/thread_colours.h"
#include "platform/files.h"
#include "platform/run_time_error.h"
#include "platform/working_folder.h"
#include "services/design_file_service.h"
#include "services/platform_steps.h"

namespace tavlin {

namespace {

bool OfTheService(int16_t code) { return CodecOf(code).designService; }

// The service reads and writes its formats by way of a DST file.
int16_t ServiceGoBetween() { return FindFormatCode("DST"); }

std::string LastThree(const std::string& name) {
  std::string end = name.size() < 3 ? name : name.substr(name.size() - 3);
  for (char& c : end) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return end;
}

int16_t Convert(SharedRecord& shared, int16_t sourceType, int16_t destType,
                const std::string& source, const std::string& dest) {
  std::string resolved;
  std::string why;
  const std::vector<int16_t> route =
      shared.AsOtherProgramsDo ? RouteOf(sourceType, destType, why) : std::vector<int16_t>{};
  if (route.size() <= 2) return ConvertStitchFile(shared, sourceType, destType, source, dest, resolved);
  // The library's disc writes follow the routes that keep a design, as its conversions
  // do: a SEW from a DST goes by way of a QEP. Two working files take turns.
  const ScopedWorkingFile even(shared.platform, "$ROUTE0.TMP");
  const ScopedWorkingFile odd(shared.platform, "$ROUTE1.TMP");
  std::string from = source;
  for (size_t step = 1; step < route.size(); ++step) {
    const bool last = step + 1 == route.size();
    const std::string to = last ? dest : (step % 2 == 0 ? even : odd).Path();
    int16_t fromType = route[step - 1];
    int16_t toType = route[step];
    const int16_t result = ConvertStitchFile(shared, fromType, toType, from, to, resolved);
    if (result != 0) return result;
    from = to;
  }
  return 0;
}

}  // namespace

void WriteHusColourBytes(SharedRecord& shared, const std::string& sourceFile, int16_t sourceType,
                         const std::string& destFile) {
  std::string indexes;
  {
    BufferedFile source(OpenFile(shared.platform, sourceFile));
    const int16_t destType = FindFormatCode(destFile, shared.AsOtherProgramsDo);
    indexes = ChooseThreadPalette(sourceType, destType, source);
  }
  BufferedFile dest(OpenFile(shared.platform, destFile));
  dest.Seek(41);
  for (char index : indexes) {
    const char pair[2] = {'\0', index};
    dest.Write(std::string_view(pair, 2));
  }
}

int16_t DosWrite(SharedRecord& shared, const std::string& sourceFile, const std::string& destFile) {
  shared.Own<DosState>().LastWriteName = destFile;
  try {
    if (shared.PlatformId == 1) {
      RestoreVector(shared);
      SettleWait(shared.platform, shared.CurrentDrive);
    }
    if (sourceFile.empty()) return 2;
    const int16_t sourceType = FindFormatCode(sourceFile, shared.AsOtherProgramsDo);
    const int16_t destType = FindFormatCode(destFile, shared.AsOtherProgramsDo);
    if (!IsNamedFormat(CodecOf(sourceType))) return 2;
    if (OfTheService(destType)) {
      const ScopedWorkingFile dst(shared.platform, "$TEMP.DST");
      Convert(shared, sourceType, ServiceGoBetween(), sourceFile, dst.Path());
      const int16_t code = RunDesignFileSequence(shared, dst.Path(), destFile,
                                                 [&dst] { dst.Remove(); });
      if (code != 0) return code;
      if (CodecOf(destType).threadBytes) {
        WriteHusColourBytes(shared, sourceFile, sourceType, destFile);
      }
      shared.WrittenName = FileNameOf(destFile);
      return 0;
    }
    const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
    const int16_t converted = Convert(shared, sourceType, destType, sourceFile, working.Path());
    if (converted != 0) return converted;
    CopyFile(shared.platform, working.Path(), destFile);
    shared.WrittenName = FileNameOf(destFile);
    return 0;
  } catch (const RunTimeError& e) {
    return e.Code();
  }
}

int16_t DosRead(SharedRecord& shared, const std::string& sourceName, const std::string& destName) {
  shared.LastDosReadName = sourceName;
  // The library's reads name their threads' files to their own conversion only: a
  // later write must not take a design's colours from an earlier read.
  struct ForgetAfterwards {
    SharedRecord& shared;
    ~ForgetAfterwards() {
      if (!shared.AsOtherProgramsDo) return;
      shared.LastDosReadName.clear();
      shared.HusSourceName.clear();
    }
  } forget{shared};
  try {
    const int16_t sourceType = FindFormatCode(sourceName, shared.AsOtherProgramsDo);
    const int16_t destType = FindFormatCode(destName, shared.AsOtherProgramsDo);
    DeleteFile(shared.platform, destName);
    // The same format on both sides: the file is copied as it stands.
    if (LastThree(sourceName) == LastThree(destName)) {
      CopyFile(shared.platform, sourceName, destName);
      return 0;
    }
    const ScopedWorkingFile working(shared.platform, "$TEMP.TMP");
    CopyFile(shared.platform, sourceName, working.Path());
    PumpMessages(shared.platform);
    shared.HusSourceName.clear();
    if (OfTheService(sourceType)) {
      const ScopedWorkingFile copy(shared.platform, "$TEMP." + LastThree(sourceName));
      RenameFile(shared.platform, working.Path(), copy.Path());
      if (CodecOf(sourceType).threadBytes) shared.HusSourceName = sourceName;
      const ScopedWorkingFile dst(shared.platform, "$TEMP.DST");
      const int16_t code = RunDesignFileSequence(shared, copy.Path(), dst.Path(),
                                                 [&copy] { copy.Remove(); });
      if (code != 0) return code;
      return Convert(shared, ServiceGoBetween(), destType, dst.Path(), destName);
    }
    return Convert(shared, sourceType, destType, working.Path(), destName);
  } catch (const RunTimeError& e) {
    return e.Code();
  }
}

int16_t DosDelete(SharedRecord& shared, const std::string& fileName) {
  try {
    if (FileExists(shared.platform, fileName)) DeleteFile(shared.platform, fileName);
    return 0;
  } catch (const RunTimeError& e) {
    return e.Code();
  }
}

}  // namespace tavlin
