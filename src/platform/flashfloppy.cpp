#include "platform/flashfloppy.h"

#include <cctype>
#include <vector>

namespace tavlin {

namespace {

std::string Lower(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string_view Trimmed(std::string_view line) {
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.front()))) line.remove_prefix(1);
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) line.remove_suffix(1);
  return line;
}

// The tag of a section header line ("[fmc::671744]" gives "fmc"), or nothing for any
// other line.
bool HeaderTag(std::string_view line, std::string& tag) {
  line = Trimmed(line);
  if (line.size() < 2 || line.front() != '[' || line.back() != ']') return false;
  std::string_view inside = line.substr(1, line.size() - 2);
  if (const size_t sizeAt = inside.find("::"); sizeAt != std::string_view::npos) {
    inside = inside.substr(0, sizeAt);
  }
  tag = Lower(Trimmed(inside));
  return true;
}

// Lines with their ends, so that the file's own line ends stay.
std::vector<std::string_view> Lines(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const size_t take = end == std::string_view::npos ? text.size() : end + 1;
    lines.push_back(text.substr(0, take));
    text.remove_prefix(take);
  }
  return lines;
}

}  // namespace

std::string FlashFloppySection(const FlashFloppyGeometry& g, std::string_view newline) {
  std::string out;
  const auto line = [&out, newline](const std::string& text) {
    out += text;
    out += newline;
  };
  const auto field = [&line](const char* name, const std::string& value) {
    line(std::string(name) + " = " + value);
  };
  line("[" + g.tag + "::" + std::to_string(g.fileBytes) + "]");
  if (!g.comment.empty()) line("# " + g.comment);
  field("cyls", std::to_string(g.cylinders));
  field("heads", std::to_string(g.heads));
  field("secs", std::to_string(g.sectors));
  field("bps", std::to_string(g.sectorBytes));
  field("id", std::to_string(g.firstId));
  field("mode", "mfm");
  field("interleave", std::to_string(g.interleave));
  field("cskew", "0");
  field("hskew", "0");
  field("rpm", std::to_string(g.rpm));
  field("rate", std::to_string(g.rateKbps));
  field("gap3", std::to_string(g.gap3));
  field("iam", "yes");
  // Raw images hold cylinder 0 head 0, cylinder 0 head 1, cylinder 1 head 0 ...
  field("file-layout", "interleaved");
  return out;
}

std::string MergeFlashFloppySection(std::string_view existing, std::string_view tag,
                                    const FlashFloppyGeometry& geometry) {
  const std::string ours = Lower(tag);
  const std::string_view newline =
      existing.find("\r\n") != std::string_view::npos ? std::string_view("\r\n") : std::string_view("\n");
  const std::string section = FlashFloppySection(geometry, newline);
  std::string out;
  bool placed = false;
  bool inOurs = false;
  for (const std::string_view line : Lines(existing)) {
    std::string lineTag;
    if (HeaderTag(line, lineTag)) {
      inOurs = lineTag == ours;
      if (inOurs && !placed) {
        out += section;
        placed = true;
      }
    }
    // Blank lines stay: they part our section from the next.
    if (!inOurs || Trimmed(line).empty()) out += line;
  }
  if (!placed) {
    if (!out.empty() && out.back() != '\n') out += newline;
    if (!out.empty()) out += newline;  // a blank line between sections
    out += section;
  }
  return out;
}

}  // namespace tavlin
