// A disc driven through the class by scripts of operations, and the judges of DOS images.
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
  const std::string out = dir / "fsck.txt";
  const int raw = std::system(("fsck.fat -n " + image + " >" + out + " 2>&1").c_str());
  if (!WIFEXITED(raw) || WEXITSTATUS(raw) > 1) return false;
  std::istringstream said(ReadBytes(out));
  int lines = 0, summaries = 0;
  for (std::string line; std::getline(said, line);) {
    if (line.empty() || line.rfind("Label '", 0) == 0 || line == "  Auto-removing label from boot sector." ||
        line == "Leaving filesystem unchanged.") {
      continue;
    }
    ++lines;
    summaries += line.find(" files, ") != std::string::npos ? 1 : 0;
  }
  return lines == 2 && summaries == 1;
}

// Where "T.H.S+O" lies in an image: offset O of sector S of track T, head H.
inline size_t SectorAt(const std::string& where, size_t imageSize) {
  int track = 0, head = 0, sector = 0;
  size_t offset = 0;
  std::sscanf(where.c_str(), "%d.%d.%d+%zu", &track, &head, &sector, &offset);
  const size_t sectors = imageSize == 737280 ? 9 : imageSize == 1474560 ? 18 : 16;
  return ((static_cast<size_t>(track) * 2 + static_cast<size_t>(head)) * sectors + static_cast<size_t>(sector) - 1) *
             (sectors == 16 ? 256 : 512) + offset;
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
  //       stitches; wHUS, wXYZ, wWIDE, wNONE: a closed format, an unknown one, one whose
  //       conversion overflows, no source; "*k" k times; ">NAME" to that destination
  //   dL  deletes line L    rL  reads it, "rL~k" as the stitches of the script's k-th write
  //   pT.H.S+O:HEX  puts bytes on the image    PNAME:N  a file of N bytes on a DOS disc
  // An operation that fails must leave the image as it was, a read no file, a write no
  // working file.
  ::testing::AssertionResult Run(const std::string& script) {
    std::istringstream in(script);
    for (std::string token; in >> token;) {
      const size_t eq = token.find('=');
      const int expected = eq == std::string::npos ? 0 : std::stoi(token.substr(eq + 1));
      const std::string arg = token.substr(1, eq == std::string::npos ? eq : eq - 1);
      const std::string before = Bytes();
      const auto number = static_cast<int16_t>(std::isdigit(arg.c_str()[0]) ? std::stoi(arg) : 0);
      int answer = 0;
      switch (token[0]) {
        case 'l': answer = ListAs(type); break;
        case 'i': answer = tavlin.ReadDisc(); break;
        case 'f': answer = tavlin.FormatDisc(number); break;
        case 't': type = number; break;
        case 'd': answer = tavlin.DeleteFromDisc(number, NameOf(number), type); break;
        case 'r': {
          const std::string out = LastRead(++reads);
          answer = tavlin.ReadFromDisc(number, NameOf(number), out, type, progress);
          const size_t tilde = arg.find('~');
          if (answer != 0 && std::filesystem::exists(out)) return Failed(token, "left a file");
          if (answer == 0 && tilde != std::string::npos &&
              NeedlesOf(out) != NeedlesOf(written.at(std::stoul(arg.substr(tilde + 1))))) {
            return Failed(token, "reads back other stitches");
          }
          break;
        }
        case 'w': {
          const size_t star = arg.find('*'), to = arg.find('>');
          const std::string what = arg.substr(0, std::min(star, to));
          std::string source = dir / ("w" + std::to_string(written.size()) + ".DST");
          if (what == "NONE") source.clear();
          else if (what != "WIDE" && std::isupper(static_cast<unsigned char>(what[0]))) WriteBytes(source = dir / ("x." + what), "?");
          else WriteBytes(source, Design(what));
          for (int k = star == std::string::npos ? 1 : std::stoi(arg.substr(star + 1)); k > 0 && answer == 0; --k) {
            written.push_back(source);
            answer = tavlin.WriteToDisc(source, to == std::string::npos ? "" : arg.substr(to + 1), type, progress);
          }
          if (std::filesystem::exists(WorkingFile("$TEMP.TMP"))) return Failed(token, "left its working file");
          break;
        }
        case 'p': {
          std::string bytes;
          for (size_t at = arg.find(':') + 1; at + 1 < arg.size(); at += 2) {
            bytes += static_cast<char>(std::stoi(arg.substr(at, 2), nullptr, 16));
          }
          Patch(SectorAt(arg, before.size()), bytes);
          break;
        }
        case 'P': {
          const std::string name = "A:\\" + arg.substr(0, arg.find(':'));
          const std::string bytes(std::stoul(arg.substr(arg.find(':') + 1)), 'x');
          const std::unique_ptr<FileBackend> file = OpenFile(ThreadSharedRecord().platform, name);
          file->WriteAt(0, bytes.data(), bytes.size());
          file->Flush();
          break;
        }
      }
      if (answer != expected) return Failed(token, "answered " + std::to_string(answer));
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
    std::vector<int> n;
    for (size_t at = what[0] == 's' ? 1 : 0; at < what.size(); ++at) {
      size_t used = 0;
      n.push_back(std::stoi(what.substr(at), &used));
      at += used;
    }
    if (what[0] == 's') {
      std::vector<Rec> records;
      for (size_t k = 0; k + 1 < n.size(); k += 2) records.push_back({KindStitch, static_cast<int16_t>(n[k]), static_cast<int16_t>(n[k + 1])});
      return DstFile(records);
    }
    n.resize(4, 0);
    return ZigzagDst(n[0], static_cast<int16_t>(n[1]), static_cast<int16_t>(n[2]), n[3]);
  }
};

}  // namespace tavlin::test
