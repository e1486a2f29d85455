// Whole files for the tests that make or inspect them: bytes in, bytes out.
#pragma once

#include <fstream>
#include <sstream>
#include <string>

// The bytes of the file at path; empty when it cannot be read.
inline std::string ZrTestReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  if (in) bytes << in.rdbuf();
  return bytes.str();
}

// Makes bytes the whole content of the file at path; false when it cannot be written.
inline bool ZrTestWriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out.flush());
}
