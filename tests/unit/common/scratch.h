// Files of one test: a folder of its own that goes with it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vorbeld {

// A fresh, empty folder; removed with all it holds.
struct ScratchFolder {
  std::filesystem::path path;

  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ScratchFolder(ScratchFolder&&) = delete;
  ScratchFolder& operator=(ScratchFolder&&) = delete;
  ~ScratchFolder();
};

// The whole content of a file; empty when it cannot be read.
std::string file_text(const std::filesystem::path& path);

// Its lines without their line feeds. A last line that has none is given all the same.
std::vector<std::string> file_lines(const std::filesystem::path& path);

// Makes `path` a file with this content.
void write_file(const std::filesystem::path& path, const std::string& content);

}  // namespace vorbeld
