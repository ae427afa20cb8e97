// How text looks on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qd::program {

struct visible_text {
  std::string text;       // UTF-8 that moves the cursor to the right only.
  std::size_t width = 0;  // In columns of the terminal.
};

// The text as a terminal can show it in one line: a tab, line feed and carriage return become \t, \n
// and \r, everything else without a shape of its own (controls, marks that change the direction of
// writing, private and unassigned code points) its number, as <U+200B>. A combining mark without
// anything to combine with stands on a dotted circle. Invalid bytes become U+FFFD.
visible_text make_visible(std::string_view utf8);

// How many columns of a terminal the text takes, as make_visible shows it.
std::size_t display_width(std::string_view utf8);

}  // namespace qd::program
