// How the page looks: light and dark, on paper, and down to the width of a phone.
#pragma once

#include <string_view>

namespace vorbelctl::page {

// The whole style sheet. One colour stands for one meaning throughout.
std::string_view style_sheet();

}  // namespace vorbelctl::page
