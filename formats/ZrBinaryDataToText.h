// Printable text forms of raw numeric-array bytes, carried by the elements "binary", "base64"
// (both the own layout: "%08lx" byte-count header, then 6-bit groups least significant bits
// first) and "base64b" (standard RFC 4648 Base64 with "=" padding).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

class ZrBinaryDataToText {
 public:
  ZrBinaryDataToText();
  virtual ~ZrBinaryDataToText();

  // standard: "base64b". Otherwise the own layout with the standard alphabet
  // (useBase64Alphabet, "base64") or the own alphabet ("binary"). An empty array still gives
  // one group.
  void Encode(const void* data, uint32_t byteCount, std::string& text, bool useBase64Alphabet,
              bool standard) const;

  // Allocates the bytes (released by the caller with array delete through the unique_ptr).
  // Throws "Illigal Data" or "Size Error" before allocating anything.
  void Decode(std::string_view text, std::unique_ptr<unsigned char[]>& bytes, uint32_t& byteCount,
              bool useBase64Alphabet, bool standard) const;

  // The byte count that Decode would give, with the same checks; nothing is allocated.
  uint64_t DecodedSize(std::string_view text, bool standard) const;
  // Decodes the first `count` bytes (at most DecodedSize) into `out`.
  void DecodeInto(std::string_view text, unsigned char* out, uint64_t count, bool useBase64Alphabet,
                  bool standard) const;

  std::string ownAlphabet;
  unsigned char ownReverse[256];
  std::string base64Alphabet;
  unsigned char base64Reverse[256];

 private:
  static void BuildReverse(const std::string& alphabet, unsigned char* reverse);
};
