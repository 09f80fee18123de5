// tavlin preview DESIGN OUT.png|OUT.svg: a picture of the design in its thread colours.
#include <png.h>

#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "common.h"
#include "picture_files.h"
#include "tavlin/picture.h"
#include "verbs.h"

namespace tavlin::cli {

namespace {

bool EndsWith(const std::string& name, const std::string& end) {
  if (name.size() < end.size()) return false;
  for (size_t i = 0; i < end.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(name[name.size() - end.size() + i])) != end[i]) return false;
  }
  return true;
}

// The picture as an 8-bit RGB PNG; false, with `why` said, when it can't be written.
bool WritePng(const std::string& path, const Picture& picture, std::string& why) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) {
    why = "cannot create the file";
    return false;
  }
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png != nullptr ? png_create_info_struct(png) : nullptr;
  if (png == nullptr || info == nullptr) {
    png_destroy_write_struct(&png, nullptr);
    std::fclose(file);
    why = "out of memory";
    return false;
  }
  // libpng reports its failures by jumping back here; nothing below owns a destructor.
  if (setjmp(png_jmpbuf(png))) {
    png_destroy_write_struct(&png, &info);
    std::fclose(file);
    why = "the PNG could not be written";
    return false;
  }
  png_init_io(png, file);
  png_set_IHDR(png, info, static_cast<png_uint_32>(picture.width), static_cast<png_uint_32>(picture.height),
               8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  const size_t stride = static_cast<size_t>(picture.width) * 3;
  for (int y = 0; y < picture.height; ++y) {
    png_write_row(png, picture.rgb.data() + static_cast<size_t>(y) * stride);
  }
  png_write_end(png, nullptr);
  png_destroy_write_struct(&png, &info);
  const bool closed = std::fclose(file) == 0;
  if (!closed) why = "the file could not be written";
  return closed;
}

bool WriteText(const std::string& path, const std::string& text, std::string& why) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  out.close();
  if (!out) why = "the file could not be written";
  return static_cast<bool>(out);
}

}  // namespace

bool IsPictureName(const std::string& name) { return EndsWith(name, ".png") || EndsWith(name, ".svg"); }

std::string WritePicture(const std::string& design, const std::string& out, const PictureOptions& options) {
  const std::string working = out + ".tavlin-part";
  std::string why;
  bool written = false;
  if (EndsWith(out, ".svg")) {
    std::string text;
    if (const std::error_code ec = DrawDesignSvg(design, options, text)) return "cannot draw " + design + ": " + InWords(ec);
    written = WriteText(working, text, why);
  } else {
    Picture picture;
    if (const std::error_code ec = DrawDesign(design, options, picture)) return "cannot draw " + design + ": " + InWords(ec);
    written = WritePng(working, picture, why);
  }
  std::error_code ec;
  if (written) std::filesystem::rename(working, out, ec);
  if (written && !ec) return {};
  std::filesystem::remove(working, ec);
  return "cannot write " + out + ": " + (why.empty() ? "the file could not be put in place" : why);
}

void AddPreview(CLI::App& app, int& exitCode) {
  auto* verb = app.add_subcommand("preview", "Draw a design in its thread colours as a PNG or SVG picture");
  auto design = std::make_shared<std::string>();
  auto out = std::make_shared<std::string>();
  auto size = std::make_shared<int>(600);
  auto jumps = std::make_shared<std::string>("hide");
  auto grid = std::make_shared<bool>(false);
  verb->add_option("DESIGN", *design, "the stitch file")->required();
  verb->add_option("OUT", *out, "the picture: a name ending in .png or .svg")->required();
  verb->add_option("--size", *size, "the longer side in pixels, 16 to 4000 (default 600)")
      ->check(CLI::Range(16, 4000));
  verb->add_option("--jumps", *jumps, "moves without thread: hide (default) or dashed")
      ->check(CLI::IsMember({"hide", "dashed"}));
  verb->add_flag("--grid", *grid, "a light grid: a line every 10 mm, and every mm where there is room");
  verb->callback([design, out, size, jumps, grid, &exitCode] {
    if (!IsPictureName(*out)) {
      exitCode = Fail("cannot draw " + *design + ": the picture's name must end in .png or .svg");
      return;
    }
    std::error_code missing;
    if (!std::filesystem::is_regular_file(*design, missing)) {
      exitCode = Fail("cannot draw " + *design + ": file not found (code 53)");
      return;
    }
    if (const std::string why = RefusedFormat(*design, true); !why.empty()) {
      exitCode = Fail("cannot draw " + *design + ": " + why);
      return;
    }
    const PictureOptions options{.size = *size,
                                 .jumps = *jumps == "dashed" ? JumpLines::Dashed : JumpLines::Hide,
                                 .grid = *grid};
    if (const std::string why = WritePicture(*design, *out, options); !why.empty()) exitCode = Fail(why);
  });
}

}  // namespace tavlin::cli
