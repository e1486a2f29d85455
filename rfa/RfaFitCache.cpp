// Process-wide normal matrices and basis tables of the background fit.
#include "rfa/RfaFitCache.h"

#include <algorithm>
#include <cstring>

#include "formats/ZrSha256.h"

void RfaNormalMatrixKey::Seal() {
  Hash = ZrSha256(Pattern.data(), Pattern.size() * sizeof(uint64_t));
}

bool RfaNormalMatrixKey::operator==(const RfaNormalMatrixKey& other) const {
  return Hash == other.Hash && Count == other.Count && Cols == other.Cols && Rows == other.Rows &&
         Degrees == other.Degrees && Basis == other.Basis &&
         std::memcmp(&Radius, &other.Radius, sizeof Radius) == 0 &&
         std::memcmp(&ThetaMax, &other.ThetaMax, 10) == 0 && Pattern == other.Pattern;
}

RfaFitCache& RfaFitCache::Instance() {
  static RfaFitCache cache;
  return cache;
}

std::shared_ptr<const RfaNormalMatrixEntry> RfaFitCache::FindMatrix(const RfaNormalMatrixKey& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  for (auto it = matrices_.begin(); it != matrices_.end(); ++it) {
    if ((*it)->Key == key) {
      std::rotate(matrices_.begin(), it, it + 1);  // now the most recent
      return matrices_.front();
    }
  }
  return nullptr;
}

void RfaFitCache::KeepMatrix(std::shared_ptr<const RfaNormalMatrixEntry> entry) {
  const int64_t bytes = 2 * static_cast<int64_t>(sizeof(long double)) * entry->M.Count();
  if (bytes > kMatrixEntryLimit) return;
  std::lock_guard<std::mutex> lock(mutex_);
  // Two threads may have computed the same matrix at once: keep one.
  for (const auto& kept : matrices_) {
    if (kept->Key == entry->Key) return;
  }
  matrices_.insert(matrices_.begin(), std::move(entry));
  if (matrices_.size() > kMatrixEntries) matrices_.pop_back();
}

std::shared_ptr<const RfaBasisTable> RfaFitCache::FindTable(const RfaFitGeometry& geometry) {
  std::lock_guard<std::mutex> lock(mutex_);
  return table_ != nullptr && table_->Matches(geometry) ? table_ : nullptr;
}

void RfaFitCache::KeepTable(std::shared_ptr<const RfaBasisTable> table) {
  std::lock_guard<std::mutex> lock(mutex_);
  table_ = std::move(table);
}

void RfaFitCache::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  matrices_.clear();
  table_.reset();
}
