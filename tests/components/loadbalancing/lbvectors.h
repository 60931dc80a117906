#pragma once

#include <fstream>

#include <json/reader.h>
#include <json/writer.h>

#include "support/bytesof.h"

/// A part of what make_vectors.py has written; bytes stand there as hexadecimal digits.
inline Json::Value LbVectors(const char* part) {
  Json::Value read;
  std::ifstream(TEST_DATA "/lb_vectors.json") >> read;
  return read[part];
}
