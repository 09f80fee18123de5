// A disc driven through the class by scripts of operations, and fsck.fat's judgement.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <sstream>

#include "disc_fixture.h"
#include "platform/files.h"
#include "platform/working_folder.h"
#include "tavlin/disc.h"

namespace tavlin::test {

// fsck.fat -n finds nothing but its banner and its summary. The class's own boot sector
// has its start code where fsck.fat reads a label, which it then calls invalid; that
// complaint alone is no fault.
inline bool FsckClean(const TempDir& dir, const std::string& image) {
  const int raw = std::system(("fsck.fat -n " + image + " >" + (dir / "fsck.txt") + " 2>&1").c_str());
  std::istringstream said(ReadBytes(dir / "fsck.txt"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(said, line);) {
    if (!line.empty() && line.rfind("Label '", 0) != 0 && line.find("label from boot") == std::string::npos &&
        line != "Leaving filesystem unchanged.") {
      lines.push_back(line);
    }
  }
  return WIFEXITED(raw) && WEXITSTATUS(raw) <= 1 && lines.size() == 2 && lines[1].find(" files, ") != std::string::npos;
}

// Where "T.H.S+O" lies in an image: offset O of sector S of track T, head H.
inline size_t SectorAt(const std::string& where, size_t imageSize) {
  size_t track = 0, head = 0, sector = 0, offset = 0;
  std::sscanf(where.c_str(), "%zu.%zu.%zu+%zu", &track, &head, &sector, &offset);
  const size_t sectors = imageSize == 737280 ? 9 : imageSize == 1474560 ? 18 : 16;
  return ((track * 2 + head) * sectors + sector - 1) * (sectors == 16 ? 256 : 512) + offset;
}

// Bytes in hex, as a patch takes them, and an image with patches "pT.H.S+O:HEX" put on it.
inline std::string Hex(const std::string& bytes) {
  std::string hex;
  for (const char c : bytes) hex += std::string{"0123456789ABCDEF"[static_cast<uint8_t>(c) >> 4], "0123456789ABCDEF"[c & 15]};
  return hex;
}
inline std::string Patched(std::string image, const std::string& patches) {
  std::istringstream in(patches);
  for (std::string patch; in >> patch;) {
    std::string bytes;
    for (size_t at = patch.find(':') + 1; at + 1 < patch.size(); at += 2) bytes += static_cast<char>(std::stoi(patch.substr(at, 2), nullptr, 16));
    image.replace(SectorAt(patch.substr(1), image.size()), bytes.size(), bytes);
  }
  return image;
}

class ScriptedDisc : public DiscImage {
 public:
  // `sound`: a DOS disc laid out by the library, as mkfs.fat lays it, not by the class.
  ScriptedDisc(ImageFamily family, int16_t formatType, bool sound = false)
      : DiscImage(sound ? ImageFamily::Dos720 : family, formatType), type(formatType) {
    if (sound) {
      formatResult = FormatDiscImage(image, DiscFamily::Dos, family == ImageFamily::Dos1440) ? 1 : 0;
      BindDriveImage(0, image);
    }
  }

  // What routines that go by names take for a line of the last listing.
  std::string NameOf(int line) const {
    return type == OtherDOS ? "A:\\" + ThreadSharedRecord().ListNames[static_cast<size_t>(line) + 1] : "";
  }

  // Runs operations through the class, each of which must answer 0 unless "=n" follows:
  //   l  the family's listing    i  identification    fN  a format of type N    tN  act as type N
  //   wN  writes ZigzagDst(N); "wN/jx/jy/c" with those arguments, "ws100,50;-120,-110" of these
  //       stitches; wWIDE one whose conversion overflows, wNONE no source, wHUS a file of
  //       that extension (a closed format, an unknown one ...); "*k" k times; ">NAME" to there
  //   dL  deletes line L    rL  reads it, "rL~k" as the stitches of the script's k-th write
  //   pT.H.S+O:HEX  puts bytes on the image    PNAME:N  a file of N bytes on a DOS disc,
//       "PNAME:N:TEXT" of this text ('_' for a blank) and blanks; MNAME:N the same put by
//       mtools, under a long name if NAME is one
  // An operation that fails must leave the image as it was, a read no file, a write no
  // working file.
  ::testing::AssertionResult Run(const std::string& script) {
    std::istringstream in(script);
    for (std::string token; in >> token;) {
      const size_t eq = token.find('=');
      const std::string arg = token.substr(1, eq == std::string::npos ? eq : eq - 1), before = Bytes();
      const auto number = static_cast<int16_t>(std::isdigit(arg.c_str()[0]) ? std::stoi(arg) : 0);
      const size_t tilde = arg.find('~'), star = arg.find('*'), to = arg.find('>'), colon = arg.find(':');
      int answer = 0;
      switch (token[0]) {
        case 'l': answer = ListAs(type); break;
        case 'i': answer = tavlin.ReadDisc(); break;
        case 'f': answer = tavlin.FormatDisc(number); break;
        case 't': type = number; break;
        case 'd': answer = tavlin.DeleteFromDisc(number, NameOf(number), type); break;
        case 'r':
          answer = tavlin.ReadFromDisc(number, NameOf(number), LastRead(++reads), type, progress);
          if (answer != 0 && std::filesystem::exists(LastRead())) return Failed(token, "left a file");
          if (answer == 0 && tilde != std::string::npos &&
              NeedlesOf(LastRead()) != NeedlesOf(written.at(std::stoul(arg.substr(tilde + 1))))) {
            return Failed(token, "reads back other stitches");
          }
          break;
        case 'w': {
          const std::string what = arg.substr(0, std::min(star, to));
          std::string source = what == "NONE" ? "" : dir / ("w" + std::to_string(written.size()) + ".DST");
          if (what != "WIDE" && std::isupper(static_cast<unsigned char>(what[0]))) source = dir / ("x." + what);
          if (!source.empty()) WriteBytes(source, Design(what));
          for (int k = star == std::string::npos ? 1 : std::stoi(arg.substr(star + 1)); k > 0 && answer == 0; --k) {
            written.push_back(source);
            answer = tavlin.WriteToDisc(source, to == std::string::npos ? "" : arg.substr(to + 1), type, progress);
          }
          if (std::filesystem::exists(WorkingFile("$TEMP.TMP"))) return Failed(token, "left its working file");
          break;
        }
        case 'p':
          WriteBytes(image, Patched(before, token));
          BindDriveImage(0, image);
          break;
        case 'M': {
          std::string name = arg.substr(0, colon);
          std::replace(name.begin(), name.end(), '_', ' ');
          WriteBytes(dir / name, std::string(std::stoul(arg.substr(colon + 1)), 'x'));
          Mtools(dir, "mcopy -i " + image + " '" + (dir / name) + "' ::");
          BindDriveImage(0, image);
          break;
        }
        case 'P': {
          const size_t text = arg.find(':', colon + 1);
          std::string bytes = text == std::string::npos ? std::string(std::stoul(arg.substr(colon + 1)), 'x') : arg.substr(text + 1);
          std::replace(bytes.begin(), bytes.end(), '_', ' ');
          bytes.resize(std::stoul(arg.substr(colon + 1)), ' ');
          const std::unique_ptr<FileBackend> file = OpenFile(ThreadSharedRecord().platform, "A:\\" + arg.substr(0, colon));
          file->WriteAt(0, bytes.data(), bytes.size());
          file->Flush();
          break;
        }
      }
      if (answer != (eq == std::string::npos ? 0 : std::stoi(token.substr(eq + 1)))) {
        return Failed(token, "answered " + std::to_string(answer));
      }
      if (answer != 0 && Bytes() != before) return Failed(token, "changed the disc");
    }
    return ::testing::AssertionSuccess();
  }

  // The listing of the family of a format type, as the class's Directory calls run it.
  static int16_t ListAs(int16_t formatType) {
    const DiscFamilyRecord* family = DiscFamilyByFormatType(formatType);
    SharedRecord& shared = ThreadSharedRecord();
    return family->sectorAccess ? WithSectorAccess(shared, [&] { return family->list(shared); }) : family->list(shared);
  }

  int16_t type;
  std::vector<std::string> written;  // the source of each write of a script, in order

 private:
  static ::testing::AssertionResult Failed(const std::string& token, const std::string& why) {
    return ::testing::AssertionFailure() << token << " " << why;
  }

  // The DST a write names: "300/20/-10/100" for ZigzagDst, "s100,50;-120,-110" for stitches.
  static std::string Design(const std::string& what) {
    if (what == "WIDE") return DstFile(std::vector<Rec>(300, Rec{KindStitch, 121, 0}));
    if (std::isupper(static_cast<unsigned char>(what[0]))) return "?";
    std::vector<int> n;
    for (size_t at = what[0] == 's' ? 1 : 0, used = 0; at < what.size(); at += used + 1) n.push_back(std::stoi(what.substr(at), &used));
    std::vector<Rec> records;
    for (size_t k = 0; what[0] == 's' && k + 1 < n.size(); k += 2) {
      records.push_back({KindStitch, static_cast<int16_t>(n[k]), static_cast<int16_t>(n[k + 1])});
    }
    n.resize(4, 0);
    return what[0] == 's' ? DstFile(records) : ZigzagDst(n[0], static_cast<int16_t>(n[1]), static_cast<int16_t>(n[2]), n[3]);
  }
};

}  // namespace tavlin::test
