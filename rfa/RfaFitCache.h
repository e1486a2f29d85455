// The background fit's process-wide memory: normal matrices with their inverses, and basis
// tables, kept for the next image of a series. Thread-safe: rfa-process fits files on several
// threads at once.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "numerics/ZrMatrix.h"
#include "rfa/RfaDiscBasis.h"

// Everything the normal matrix depends on. The pixel values do not enter it, only which pixels
// enter the sums: Pattern holds one bit per offset of the fit's square, row by row, set where
// the pixel enters. Hash (SHA-256 of Pattern) and Count find a candidate quickly; the pattern
// itself is compared before a matrix is reused, so a hash collision cannot give a wrong answer.
struct RfaNormalMatrixKey {
  double Radius = 0;
  long double ThetaMax = 0;
  int32_t Cols = 0;
  int32_t Rows = 0;
  int32_t Degrees = 0;
  RfaBasisKind Basis = RfaBasisKind::Symmetric;
  int64_t Count = 0;
  std::array<unsigned char, 32> Hash{};
  std::vector<uint64_t> Pattern;

  // Sets Hash from Pattern.
  void Seal();
  // Radius and ThetaMax are compared bit for bit (-0 and 0 give different matrices).
  bool operator==(const RfaNormalMatrixKey& other) const;
};

struct RfaNormalMatrixEntry {
  RfaNormalMatrixKey Key;
  ZrLDoubleMatrix M;
  ZrLDoubleMatrix Inverse;
};

class RfaFitCache {
 public:
  // Entries kept: the last few keys, so that a batch alternating between a few masks or two
  // screen sizes still finds them.
  static constexpr size_t kMatrixEntries = 4;
  // Matrices above this size (M and inverse) are not kept.
  static constexpr int64_t kMatrixEntryLimit = 64ll << 20;
  // Basis tables larger than this are not built; one table is kept.
  static constexpr int64_t kTableLimit = 256ll << 20;

  static RfaFitCache& Instance();

  std::shared_ptr<const RfaNormalMatrixEntry> FindMatrix(const RfaNormalMatrixKey& key);
  void KeepMatrix(std::shared_ptr<const RfaNormalMatrixEntry> entry);
  std::shared_ptr<const RfaBasisTable> FindTable(const RfaFitGeometry& geometry);
  void KeepTable(std::shared_ptr<const RfaBasisTable> table);
  void Clear();

 private:
  std::mutex mutex_;
  std::vector<std::shared_ptr<const RfaNormalMatrixEntry>> matrices_;  // most recent first
  std::shared_ptr<const RfaBasisTable> table_;
};
