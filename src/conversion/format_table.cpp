#include "conversion/format_table.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "conversion/formats/formats.h"

namespace tavlin {

namespace {

// In code order; refused names first.
constexpr std::array<const Codec*, 27> kCodecs = {
    &kRefusedCodec, &kDstCodec, &kDsbCodec, &kDszCodec, &kKsmCodec, &kQepCodec, &kT01Codec,
    &kCndCodec,     &kExpCodec, &kQcdCodec, &kT03Codec, &k10oCodec, &kEmnetCodec, &kVstCodec,
    &kXxxCodec,     &kEmdCodec, &kJefCodec, &kSewCodec, &kUFileCodec, &kPesCodec, &kPcmCodec,
    &kPcsCodec,     &kHusCodec, &kVipCodec, &kShvCodec, &kPecCodec, &kVp3Codec,
};

std::string UpperCase(std::string_view text) {
  std::string upper(text);
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return upper;
}

// A wrapper is read and written as the records it holds.
const Codec& Unwrapped(const Codec& codec) {
  return codec.Wrapper() ? CodecOf(codec.wraps) : codec;
}

}  // namespace

bool Codec::Reads() const { return Unwrapped(*this).decode != nullptr; }
bool Codec::Writes() const { return Unwrapped(*this).encode != nullptr; }

const Codec* FindCodec(int16_t code) {
  for (const Codec* codec : kCodecs) {
    if (codec->code == code) return codec;
  }
  return nullptr;
}

const Codec& CodecOf(int16_t code) {
  const Codec* codec = FindCodec(code);
  return codec != nullptr ? *codec : kRefusedCodec;
}

const Codec* const* CodecsBegin() { return kCodecs.data(); }
const Codec* const* CodecsEnd() { return kCodecs.data() + kCodecs.size(); }

const Codec& RefusedNameCodec() { return kRefusedCodec; }

bool IsNamedFormat(const Codec& codec) { return &codec != &kRefusedCodec; }

bool CanConvert(int16_t sourceType, int16_t destType) {
  const Codec* source = FindCodec(sourceType);
  const Codec* dest = FindCodec(destType);
  return source != nullptr && dest != nullptr && source->Reads() && dest->Writes();
}

DesignSize ScanDesignSize(BufferedFile& source, int16_t sourceType) {
  const Codec& codec = CodecOf(sourceType);
  return codec.scanSize != nullptr ? codec.scanSize(source) : DesignSize{};
}

namespace {

bool Lists(std::string_view list, std::string_view fileEnd) {
  for (size_t at = 0; at < list.size();) {
    size_t end = list.find(' ', at);
    if (end == std::string_view::npos) end = list.size();
    if (list.substr(at, end - at) == fileEnd) return true;
    at = end + 1;
  }
  return false;
}

std::string_view FirstOf(std::string_view list) { return list.substr(0, list.find(' ')); }

// "QEP QCD" as "QEP or QCD".
std::string InWords(std::string_view list) {
  std::string words(list);
  for (size_t at = words.find(' '); at != std::string::npos; at = words.find(' ', at + 4)) {
    words.replace(at, 1, " or ");
  }
  return words;
}

std::string NameOf(const Codec& codec) {
  return std::string(codec.Name());
}

}  // namespace

std::vector<int16_t> RouteOf(int16_t sourceType, int16_t destType, std::string& why) {
  const Codec& source = CodecOf(sourceType);
  const Codec& dest = CodecOf(destType);
  why.clear();
  if (!IsNamedFormat(source) || !IsNamedFormat(dest)) {
    why = "the name gives no stitch format";
    return {};
  }
  if (!source.Reads() || !dest.Writes()) {
    why = "this build does not " + std::string(source.Reads() ? "write " : "read ") +
          NameOf(source.Reads() ? dest : source) + " files";
    return {};
  }
  std::vector<int16_t> route = {sourceType};
  auto through = [&route](const Codec& codec) {
    if (route.back() != codec.code) route.push_back(codec.code);
  };
  if (!source.readOnlyInto.empty() && !Lists(source.readOnlyInto, dest.fileEnd)) {
    // A source read only into some formats goes by way of the first of them that reads
    // into any (Emnet by way of DST). One that keeps machine functions has none such.
    const Codec* via = nullptr;
    for (size_t at = 0; !source.keepsFunctionCodes && via == nullptr && at < source.readOnlyInto.size();) {
      size_t end = source.readOnlyInto.find(' ', at);
      if (end == std::string_view::npos) end = source.readOnlyInto.size();
      const Codec& candidate = CodecOf(FindFormatCode(source.readOnlyInto.substr(at, end - at)));
      if (IsNamedFormat(candidate) && candidate.readOnlyInto.empty() && !candidate.keepsFunctionCodes &&
          candidate.Reads() && candidate.Writes()) {
        via = &candidate;
      }
      at = end + 1;
    }
    if (via == nullptr) {
      why = NameOf(source) + " designs are read only into " + InWords(source.readOnlyInto);
      return {};
    }
    through(*via);
  }
  const Codec& from = CodecOf(route.back());
  auto headed = [](const Codec& codec) { return codec.textHeader || codec.Wrapper(); };
  // A wrapper's records come out whole only into a format of the text header.
  if (from.Wrapper() && !headed(dest)) through(CodecOf(from.wraps));
  // And go in whole only from one.
  if (dest.Wrapper() && !headed(CodecOf(route.back()))) through(CodecOf(dest.wraps));
  if (!dest.writtenOnlyFrom.empty() && !Lists(dest.writtenOnlyFrom, CodecOf(route.back()).fileEnd)) {
    through(CodecOf(FindFormatCode(FirstOf(dest.writtenOnlyFrom))));
  }
  // The destination ends every route, its own format's source included.
  route.push_back(destType);
  return route;
}

int16_t FindFormatCode(std::string_view fileName) { return FindFormatCode(fileName, true); }

int16_t FindFormatCode(std::string_view fileName, bool asOtherProgramsDo) {
  const std::string end =
      UpperCase(fileName.size() < 3 ? fileName : fileName.substr(fileName.size() - 3));
  for (const Codec* codec : kCodecs) {
    if (codec->libraryOnly && !asOtherProgramsDo) continue;
    if (!codec->fileEnd.empty() && end == codec->fileEnd) return codec->code;
  }
  if (!end.empty() && end[0] == 'U') return kCodeUFile;
  return kCodeRefused;
}

StitchFile ResolveStitchFile(std::string path, bool asOtherProgramsDo) {
  const int16_t code = FindFormatCode(path, asOtherProgramsDo);
  return {std::move(path), &CodecOf(code)};
}

std::string ResolvePath(const std::string& path, int16_t code) {
  if (path.size() < 2 || path[1] != ':') return path;
  const std::string_view extension = CodecOf(code).extension;
  if (extension.empty()) return path;
  const std::string_view last4 =
      std::string_view(path).substr(path.size() >= 4 ? path.size() - 4 : 0);
  if (UpperCase(last4) == UpperCase(extension) || last4 == ".TMP") return path;
  return path + std::string(extension);
}

}  // namespace tavlin
