#ifndef WRENFALL_TESTS_COMPANIONS_IMAGE_BUILDER_H_
#define WRENFALL_TESTS_COMPANIONS_IMAGE_BUILDER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "stack/image_file.h"

namespace wrenfall::stack {

// The file of a small module for x64: code from 0x1000 on, a function table from 0x2000 on, and a debug
// link to "b.debug".
inline std::string build_image(uint32_t time_stamp, const std::string& code,
                               const std::vector<FunctionEntry>& functions) {
  std::string image(0x700, '\0');
  const auto put = [&image](size_t offset, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) image.at(offset + i) = static_cast<char>(value >> (8 * i));
  };
  image.replace(0, 2, "MZ");
  put(0x3C, 0x80);
  put(0x80, 0x4550);            // "PE"
  put(0x84, 0x8664 | 3 << 16);  // x64, three sections
  put(0x88, time_stamp);
  put(0x8C, 0x620);  // where the names of sections are
  put(0x94, 240);    // bytes of the optional header
  put(0x98, 0x20B);
  put(0x98 + 56, 0x4000);
  put(0x98 + 108, 16);
  put(0x98 + 112 + 24, 0x2000);
  put(0x98 + 112 + 28, static_cast<uint32_t>(functions.size() * 12));
  const uint32_t sections[3][4] = {{0x1000, 0x1000, 0x400, 0x60000020},
                                   {0x1000, 0x2000, 0x500, 0x40000040},
                                   {0x000C, 0x3000, 0x600, 0x42000040}};
  for (size_t i = 0; i < 3; ++i) {
    const size_t entry = 0x98 + 240 + 40 * i;
    put(entry + 8, sections[i][0]);
    put(entry + 12, sections[i][1]);
    put(entry + 16, 0x100);
    put(entry + 20, sections[i][2]);
    put(entry + 36, sections[i][3]);
  }
  image.replace(0x98 + 240 + 80, 2, "/4");
  image.replace(0x600, 12, std::string("b.debug\0\x26\x39\xF4\xCB", 12));
  image.replace(0x624, 14, ".gnu_debuglink");
  image.replace(0x400, code.size(), code);
  for (size_t i = 0; i < functions.size(); ++i) {
    put(0x500 + 12 * i, functions[i].begin);
    put(0x504 + 12 * i, functions[i].end);
    put(0x508 + 12 * i, functions[i].unwind_data);
  }
  return image;
}

}  // namespace wrenfall::stack

#endif  // WRENFALL_TESTS_COMPANIONS_IMAGE_BUILDER_H_
