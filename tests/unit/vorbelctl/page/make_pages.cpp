// Writes the page of every constructed outcome into a folder, each under the outcome's name, for a browser to look at.
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "tests/unit/vorbelctl/page/outcomes.h"
#include "vorbelctl/page/page.h"

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: make_pages FOLDER\n", stderr);
    return 2;
  }
  const std::filesystem::path folder = arguments[1];
  for (const auto& [name, outcome] : vorbelctl::page::outcomes()) {
    std::ofstream file(folder / (std::string(name) + ".html"));
    file << vorbelctl::outcome_page(*outcome);
    if (!file.flush()) return 1;
  }
  return 0;
}
