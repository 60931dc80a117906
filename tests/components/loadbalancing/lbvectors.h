#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

/// What make_vectors.py has written; bytes stand there as hexadecimal digits.
namespace LbVectors {

using Bytes = std::vector<std::uint8_t>;

inline Json::Value Of(const char* part) {
  Json::Value read;
  std::ifstream(TEST_DATA "/lb_vectors.json") >> read;
  return read[part];
}

inline Bytes BytesOf(std::string_view digits) {
  Bytes bytes;
  for (; digits.size() >= 2; digits.remove_prefix(2))
    bytes.push_back(static_cast<std::uint8_t>(std::stoi(std::string(digits.substr(0, 2)), nullptr, 16)));
  return bytes;
}

}  // namespace LbVectors
