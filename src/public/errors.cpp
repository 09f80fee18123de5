#include <string>

#include "conversion/convert.h"
#include "platform/run_time_error.h"
#include "services/design_file_service.h"
#include "tavlin/error.h"

namespace tavlin {

namespace {

class Results final : public std::error_category {
 public:
  const char* name() const noexcept override { return "tavlin"; }
  std::string message(int code) const override { return ResultText(code); }
};

class DiscFailures final : public std::error_category {
 public:
  const char* name() const noexcept override { return "tavlin disc"; }
  std::string message(int code) const override {
    switch (static_cast<DiscErrc>(code)) {
      case DiscErrc::NotThisFamily: return "the disc is not of the family named";
      case DiscErrc::SectorFailed: return "a sector could not be read or written";
      case DiscErrc::NoFormat: return "the design's name gives no format the disc takes";
      case DiscErrc::NoNumberLeft: return "no design number left: the disc holds 99 designs";
      case DiscErrc::NoRoom: return "not enough free room on the disc for the design";
      case DiscErrc::DirectoryFull: return "the disc's directory has no entry left for the design";
      case DiscErrc::NoSuchDesign: return "no such design on the disc";
      case DiscErrc::NoFamily: return "not a disc this tool knows";
      case DiscErrc::NoGeometry: return "the disc can't be read at any of the tried geometries";
      case DiscErrc::DriveNotReady: return "drive not ready";
      case DiscErrc::NotHandled: return "this family is not handled here";
      case DiscErrc::WriteProtected: return "the disc is write-protected";
      case DiscErrc::NotShortName:
        return "a DOS disc takes names of up to 8 letters or digits, a dot and 3 more (ROSE.DST)";
      case DiscErrc::NameTaken: return "a design of that name is on the disc already";
      case DiscErrc::BadName:
        return "the name holds characters the disc can't keep: printable ASCII only";
      case DiscErrc::InUse: return "the disc is in use";
      case DiscErrc::Damaged: return "the disc is damaged (tavlin disc check says how); nothing was written";
      case DiscErrc::DesignDamaged: return "the design is damaged on the disc and can't be read whole";
    }
    return "disc failure " + std::to_string(code);
  }
};

class ConvertFailures final : public std::error_category {
 public:
  const char* name() const noexcept override { return "tavlin convert"; }
  std::string message(int code) const override {
    switch (static_cast<ConvertErrc>(code)) {
      case ConvertErrc::NoRoute: return "no conversion between these formats keeps the design";
      case ConvertErrc::FunctionRecords:
        return "the design holds machine function records that only CND, QEP and QCD keep";
      case ConvertErrc::UnsoundSource: return "the source is not a whole design of its format";
    }
    return "conversion failure " + std::to_string(code);
  }
};

}  // namespace

const std::error_category& ConvertCategory() {
  static const ConvertFailures category;
  return category;
}

std::error_code make_error_code(ConvertErrc e) { return {static_cast<int>(e), ConvertCategory()}; }

const std::error_category& ResultCategory() {
  static const Results category;
  return category;
}

std::error_code ResultCode(int code) {
  return code == 0 ? std::error_code() : std::error_code(code, ResultCategory());
}

const std::error_category& DiscCategory() {
  static const DiscFailures category;
  return category;
}

std::error_code make_error_code(DiscErrc e) { return {static_cast<int>(e), DiscCategory()}; }

std::string ResultText(int code) {
  switch (code) {
    case 0: return "done";
    case 1: return "a file name is empty";
    case kResultHoopTooSmall: return "the design does not fit the format's largest hoop";
    case kResultOutOfRange: return "a position lies outside the format's coordinate range";
    case kResultDamagedFile: return "the file is damaged: its head or its compressed stitch data can't be read";
    case kServiceCannotConvert: return "no conversion between these two formats";
    case kResultNotThisFormat: return "the file is not of the format its name gives";
    default: return RunTimeCodeText(code);
  }
}

}  // namespace tavlin
