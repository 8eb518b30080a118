#include "vorbelctl/commands/ending.h"

#include <fmt/core.h>

#include <cstdint>
#include <iostream>
#include <string>

namespace vorbelctl {

int end_with(Status status, std::string_view why, bool json, FieldList known) {
  std::cerr << fmt::format("vorbelctl: {}\n", why);
  if (json) {
    known.push_back({"error", std::string(why)});
    known.push_back({"status", std::uint64_t{status}});
    std::cout << json_line(known) << std::endl;
  }
  return status;
}

}  // namespace vorbelctl
