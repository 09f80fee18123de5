#include "conversion/format_table.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

using namespace std::string_view_literals;

constexpr auto kOpeningJump = "\x00\x00\x83"sv;
constexpr auto kOpeningKsm = "\x00\x00\x87"sv;
constexpr auto kOpeningQep = "\x05\x00\x00\x00\x00"sv;
constexpr auto kQepTrim = "\x1F\x09\x00\x00\x00"sv;
constexpr auto kVstTrim = "\x00\x00\x14"sv;

// code, file end, extension, family, decode, encode, open source, head, end,
// source header, dest header, text header, opening record, drawn trim, trim look-back
const std::array<FormatRow, 25> kRows = {{
    {kCodeRefused, nullptr, "", "refused", DecodeRefused, EncodeRefused, nullptr, nullptr,
     EndRefused, true, true, true, {}, {}, 0},
    {kCodeDst, "DST", ".DST", "Tajima", DecodeDst, EncodeDst, nullptr, nullptr, EndDst, true,
     true, true, kOpeningJump, {}, 0},
    {kCodeDsb, "DSB", ".DSB", "Barudan", DecodeDsb, EncodeDsb, nullptr, nullptr, EndDsb, true,
     true, true, {}, {}, 0},
    {kCodeDsz, "DSZ", ".DSZ", "ZSK", DecodeDsz, EncodeDsz, nullptr, nullptr, EndDsz, true, true,
     true, {}, {}, 0},
    {kCodeKsm, "KSM", ".KSM", "Pfaff", nullptr, nullptr, nullptr, nullptr, nullptr, true, true,
     true, kOpeningKsm, {}, 0},
    {kCodeQep, "QEP", ".QEP", "Velmo Quick Expanded", DecodeQep, EncodeQep, nullptr, nullptr,
     EndQep, true, true, true, kOpeningQep, kQepTrim, 20},
    // T01 and T03 are read and written as DST and DSB behind their wrapper.
    {kCodeT01, "T01", ".T01", "DST records in a wrapper", DecodeDst, EncodeDst, nullptr,
     nullptr, EndDst, true, true, true, {}, {}, 0},
    {kCodeCnd, "CND", ".CND", "Melco Premier, condensed", DecodeCnd, EncodeCnd, nullptr, nullptr,
     nullptr, false, false, false, {}, {}, 0},
    {kCodeExp, "EXP", ".EXP", "Melco Premier, expanded", nullptr, nullptr, nullptr, nullptr,
     nullptr, false, false, false, {}, {}, 0},
    {kCodeQcd, "QCD", ".QCD", "Velmo Quick Condensed", DecodeQep, EncodeQep, nullptr, nullptr,
     EndQep, true, true, true, kOpeningQep, {}, 0},
    {kCodeT03, "T03", ".T03", "DSB records in a wrapper", DecodeDsb, EncodeDsb, nullptr, nullptr,
     EndDsb, true, true, true, {}, {}, 0},
    {kCode10o, "10O", ".10O", "Toyota", nullptr, nullptr, nullptr, nullptr, nullptr, false,
     false, false, {}, {}, 0},
    {kCodeEmnet, "   ", ".", "Emnet", nullptr, nullptr, nullptr, nullptr, nullptr, true, false,
     false, {}, {}, 0},
    {kCodeVst, "VST", ".VST", "Midwest", nullptr, nullptr, nullptr, nullptr, nullptr, false,
     false, false, {}, kVstTrim, 12},
    {kCodeXxx, "XXX", ".XXX", "Singer", nullptr, nullptr, nullptr, nullptr, nullptr, false,
     false, false, {}, {}, 0},
    {kCodeEmd, "EMD", ".EMD", "Elna", nullptr, nullptr, nullptr, nullptr, nullptr, false, false,
     false, {}, {}, 0},
    {kCodeJef, "JEF", ".JEF", "Janome", nullptr, nullptr, nullptr, nullptr, nullptr, false,
     false, false, {}, {}, 0},
    {kCodeSew, "SEW", ".SEW", "Janome", nullptr, nullptr, nullptr, nullptr, nullptr, false,
     false, false, {}, {}, 0},
    {kCodeUFile, nullptr, ".DSB", "Barudan DOS/2HD", DecodeDsb, EncodeDsb, OpenUFile,
     WriteUFileHead, EndDsb, false, false, false, {}, {}, 0},
    {kCodePes, "PES", ".PES", "PES", nullptr, nullptr, nullptr, nullptr, nullptr, false, false,
     false, {}, {}, 0},
    {kCodePcm, "PCM", ".PCM", "Pfaff", nullptr, nullptr, nullptr, nullptr, nullptr, false, false,
     false, {}, {}, 0},
    {kCodePcs, "PCS", ".PCS", "Pfaff", nullptr, nullptr, nullptr, nullptr, nullptr, false, false,
     false, {}, {}, 0},
    {kCodeHus, "HUS", ".HUS", "design-file service", nullptr, nullptr, nullptr, nullptr, nullptr,
     false, false, false, {}, {}, 0},
    {kCodeVip, nullptr, ".VIP", "none", nullptr, nullptr, nullptr, nullptr, nullptr, false, false,
     false, {}, {}, 0},
    {kCodeShv, "SHV", ".SHV", "design-file service", nullptr, nullptr, nullptr, nullptr, nullptr,
     false, false, false, {}, {}, 0},
}};

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

}  // namespace

const FormatRow* FindFormatRow(int16_t code) {
  for (const FormatRow& row : kRows) {
    if (row.code == code) return &row;
  }
  return nullptr;
}

const FormatRow* FormatRowsBegin() { return kRows.data(); }
const FormatRow* FormatRowsEnd() { return kRows.data() + kRows.size(); }

int16_t FindFormatCode(std::string_view fileName) {
  const std::string end =
      UpperCase(fileName.size() < 3 ? fileName : fileName.substr(fileName.size() - 3));
  for (const FormatRow& row : kRows) {
    if (row.fileEnd != nullptr && end == row.fileEnd) return row.code;
  }
  // VIP has no row end of its own: it is refused like any unknown end.
  if (!end.empty() && end[0] == 'U') return kCodeUFile;
  return kCodeRefused;
}

std::string ResolvePath(const std::string& path, int16_t code) {
  if (path.size() < 2 || path[1] != ':') return path;
  const FormatRow* row = FindFormatRow(code);
  const std::string_view extension = row != nullptr ? row->extension : "";
  if (extension.empty()) return path;
  const std::string_view last4 =
      std::string_view(path).substr(path.size() >= 4 ? path.size() - 4 : 0);
  if (UpperCase(last4) == UpperCase(extension) || last4 == ".TMP") return path;
  return path + std::string(extension);
}

}  // namespace tavlin
