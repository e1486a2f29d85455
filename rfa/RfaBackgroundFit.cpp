// Least-squares fit of real spherical harmonics to the disc of an RFA screen image.
#include "rfa/RfaBackgroundFit.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "numerics/ZrDebugOutput.h"
#include "numerics/ZrMatrixOperator.h"
#include "numerics/ZrSphericalHarmonics.h"
#include "rfa/RfaDiscBasis.h"
#include "rfa/RfaFitCache.h"
#include "rfa/RfaFitKernels.h"
#include "rfa/RfaParameters.h"

namespace {

constexpr long double kPi = 3.141592653589793238462643383279502884L;

std::atomic<int32_t> gFitThreads{0};

// Visits the fit's square of offsets row by row, calling visit(x, y, p) for every pixel whose
// value p enters the fit (RfaPixelEntersFit; p read with the image's range check, so a disc that
// leaves the image ends the walk with the range error at the first pixel outside).
template <class Visit>
void WalkSquare(const RfaFitGeometry& g, const ZrFloatMatrix& image, Visit visit) {
  const int32_t last = RfaSquareLast(g);
  for (int32_t y = g.First; y <= last; ++y) {
    const int64_t row = static_cast<int64_t>(y) + g.CenterY - image.RowBegin;
    const int64_t x0 = static_cast<int64_t>(g.First) + g.CenterX - image.ColBegin;
    const int64_t x1 = static_cast<int64_t>(last) + g.CenterX - image.ColBegin;
    if (row >= 0 && row < image.RowSize && x0 >= 0 && x1 < image.ColSize) {
      const float* pixels = image.Data + row * image.ColSize + x0 - g.First;
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = pixels[x];
        if (RfaPixelEntersFit(p)) visit(x, y, p);
      }
    } else {
      for (int32_t x = g.First; x <= last; ++x) {
        const float p = image(x + g.CenterX, y + g.CenterY);
        if (RfaPixelEntersFit(p)) visit(x, y, p);
      }
    }
  }
}

int32_t BasisCount(int32_t degrees) {
  const int64_t k = static_cast<int64_t>(degrees) * degrees;
  if (k > std::numeric_limits<int32_t>::max() / 2) throw ZrError("Cannot Get Memory");
  return static_cast<int32_t>(k);
}

void ClearEquations(RfaNormalEquations& eq, int32_t K) {
  eq.M.Create(K, K);
  eq.M.Fill(0);
  eq.b.Create(1, K);
  eq.b.Fill(0);
}

void CollectPixels(RfaFitPixels& px, const RfaFitGeometry& g, const ZrFloatMatrix& image,
                   RfaBasisKind basis) {
  const int32_t last = RfaSquareLast(g);
  const int64_t side = static_cast<int64_t>(last) - g.First + 1;
  // A square that leaves the image ends the walk with the range error; only a square inside it
  // has a pattern worth storing (and a size that can be stored).
  const int64_t col0 = static_cast<int64_t>(g.First) + g.CenterX - image.ColBegin;
  const int64_t row0 = static_cast<int64_t>(g.First) + g.CenterY - image.RowBegin;
  const bool inside = side > 0 && col0 >= 0 && row0 >= 0 && col0 + side <= image.ColSize &&
                      row0 + side <= image.RowSize;
  std::vector<double> u;  // x / R for every offset of the square, as the mapping computes it
  if (inside) {
    px.Key.Pattern.assign(static_cast<size_t>((side * side + 63) / 64), 0);
    u.resize(static_cast<size_t>(side));
    for (int64_t k = 0; k < side; ++k) u[static_cast<size_t>(k)] = (g.First + k) / g.Radius;
    const size_t disc = static_cast<size_t>(0.8 * static_cast<double>(side * side)) + 64;
    px.X.reserve(disc);
    px.Y.reserve(disc);
    px.P.reserve(disc);
  }
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    const double ux = inside ? u[static_cast<size_t>(x - g.First)] : x / g.Radius;
    const double vy = inside ? u[static_cast<size_t>(y - g.First)] : y / g.Radius;
    if (!(ux * ux + vy * vy < 1)) return;
    // The basis evaluator's refusal of a negative degree count, at the first pixel that needs
    // it, as an evaluation there would report it.
    if (g.Degrees < 0) throw ZrError("Error");
    if (!inside) return;  // the walk ends with the range error
    const int64_t bit = (static_cast<int64_t>(y) - g.First) * side + (x - g.First);
    px.Key.Pattern[static_cast<size_t>(bit / 64)] |= uint64_t{1} << (bit % 64);
    px.X.push_back(x);
    px.Y.push_back(y);
    px.P.push_back(p);
  });
  px.Key.Radius = g.Radius;
  px.Key.ThetaMax = g.ThetaMax;
  px.Key.Cols = image.ColSize;
  px.Key.Rows = image.RowSize;
  px.Key.Degrees = g.Degrees;
  px.Key.Basis = basis;
  px.Key.Count = px.Count();
  px.Key.Seal();
}

// The table of the disc's groups for this fit: kept from an earlier fit, or built (and kept)
// when within the limit; null for the per-pixel basis or when no table applies.
std::shared_ptr<const RfaBasisTable> BasisTable(const RfaFitGeometry& g, const RfaDiscBasis& basis,
                                                const RfaFitPixels& px,
                                                const RfaFitOptions& options, int32_t threads,
                                                RfaFitReport& report) {
  if (options.Basis != RfaBasisKind::Symmetric || g.Degrees <= 0 || px.Count() == 0) {
    return nullptr;
  }
  RfaFitCache& cache = RfaFitCache::Instance();
  std::shared_ptr<const RfaBasisTable> table;
  if (options.Reuse) table = cache.FindTable(g);
  report.TableReused = table != nullptr;
  if (table == nullptr) {
    RfaDiscGroups groups = RfaMakeDiscGroups(g.Radius);
    const int64_t limit = options.TableLimit < 0 ? RfaFitCache::kTableLimit : options.TableLimit;
    if (RfaBasisTableBytes(groups, basis.Count()) > limit) return nullptr;
    table = RfaBuildBasisTable(g, basis, std::move(groups), threads);
    if (table != nullptr && options.Reuse) cache.KeepTable(table);
  }
  report.TableUsed = table != nullptr;
  report.TableBytes = table != nullptr ? table->Bytes() : 0;
  return table;
}

void DumpMatrix(const char* name, const ZrLDoubleMatrix& m) {
  if (!ZrDebugEnabled()) return;
  const int32_t K = m.ColSize;
  for (int32_t j = 0; j < K; ++j) {
    for (int32_t i = 0; i < K; ++i) ZrDebug() << name << i << j << static_cast<double>(m(i, j));
  }
}

int32_t ThreadsOf(const RfaFitOptions& options) {
  return options.Threads > 0 ? options.Threads : RfaFitThreads();
}

}  // namespace

int32_t RfaFitThreads() {
  const int32_t set = gFitThreads.load();
  if (set > 0) return set;
  if (const char* text = std::getenv("RFA_FIT_THREADS")) {
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    if (end != text && *end == '\0' && n >= 1 && n <= 1024) return static_cast<int32_t>(n);
  }
  return std::max(1, omp_get_num_procs());
}

void RfaSetFitThreads(int32_t threads) {
  gFitThreads.store(std::max(0, threads));
}

void RfaClearFitCaches() {
  RfaFitCache::Instance().Clear();
}

bool RfaMapDiscPixel(long double& theta, long double& phi, int32_t x, int32_t y, double radius,
                     bool asinMethod, bool azimuthalMethod, long double thetaMax) {
  if (!RfaInDisc(x, y, radius)) return false;  // on or beyond the rim (or R = 0)
  const double u = x / radius;
  const double v = y / radius;
  const double rho2 = u * u + v * v;
  const long double azimuth = std::atan2(static_cast<long double>(v), static_cast<long double>(u));
  if (asinMethod) {
    const long double t = std::min(std::max(1 - static_cast<long double>(rho2), 0.0L), 1.0L);
    theta = std::acos(std::sqrt(t));
  } else if (azimuthalMethod) {
    theta = std::sqrt(static_cast<long double>(rho2)) * thetaMax;
  } else {
    throw ZrError("Undefined Mapping Method");
  }
  phi = azimuth;
  return true;
}

RfaFitGeometry RfaMakeFitGeometry(const RfaParameters& params, const ZrFloatMatrix& image) {
  RfaFitGeometry g;
  g.Radius = params.Sr - static_cast<double>(params.SMargin);
  g.ThetaMax = params.MappingAzThetaMaxDeg * kPi / 180.0f;
  // Saturated rather than overflowing: a degree that large fails as memory the basis cannot get.
  g.Degrees = static_cast<int32_t>(
      std::min<int64_t>(int64_t{params.SizeL} + 1, std::numeric_limits<int32_t>::max()));
  g.CenterX = image.ColSize / 2;
  g.CenterY = image.RowSize / 2;
  // A radius beyond the int range would overflow the offsets; the first pixel of such a
  // square lies far outside any image, so report it as the range error it leads to.
  if (g.Radius > 1e9) {
    throw image.RangeError(std::numeric_limits<int32_t>::min(),
                           std::numeric_limits<int32_t>::min());
  }
  // A negative radius holds no pixel, whatever its size: the walk from 0 up to it is empty.
  g.First = std::isnan(g.Radius) || g.Radius < 0 ? 0 : static_cast<int32_t>(-g.Radius);
  return g;
}

bool RfaDiscBasisAt(long double* Y, const RfaFitGeometry& geometry, int32_t x, int32_t y,
                    RfaBasisKind basis) {
  const RfaDiscBasis evaluator(geometry, basis);
  std::vector<long double> scratch(static_cast<size_t>(std::max(evaluator.Count(), 1)));
  return evaluator.At(Y, scratch.data(), x, y);
}

void RfaAccumulateNormalEquationsReference(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                           const RfaParameters& params, RfaBasisKind kind) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  const int32_t K = BasisCount(g.Degrees);
  ClearEquations(eq, K);
  const RfaDiscBasis basis(g, kind);
  std::vector<long double> Y(static_cast<size_t>(K)), scratch(static_cast<size_t>(K));
  long double* M = eq.M.Data;
  long double* b = eq.b.Data;
  WalkSquare(g, image, [&](int32_t x, int32_t y, float p) {
    if (!basis.At(Y.data(), scratch.data(), x, y)) return;
    for (int32_t i = 0; i < K; ++i) b[i] += Y[i] * p;
    for (int32_t i = 0; i < K; ++i) {
      for (int32_t j = 0; j < K; ++j) M[i + static_cast<int64_t>(j) * K] += Y[i] * Y[j];
    }
  });
}

namespace {

// M (when wantM) and b from the padded sums.
void Unpad(RfaNormalEquations& eq, const std::vector<long double>& Mp,
           const std::vector<long double>& bp, bool wantM) {
  const int32_t K = eq.b.RowSize;
  const size_t Kp = static_cast<size_t>(K + (K % 2));
  for (int32_t i = 0; i < K; ++i) {
    eq.b.Data[i] = bp[static_cast<size_t>(i)];
    if (!wantM) continue;
    // Y[i] * Y[j] and Y[j] * Y[i] are the same product, so the mirrored lower triangle equals
    // what the plain loop sums there.
    for (int32_t j = i; j < K; ++j) {
      const long double v = Mp[static_cast<size_t>(i) * Kp + static_cast<size_t>(j)];
      eq.M.Data[i + static_cast<int64_t>(j) * K] = v;
      eq.M.Data[j + static_cast<int64_t>(i) * K] = v;
    }
  }
}

}  // namespace

void RfaAccumulateNormalEquations(RfaNormalEquations& eq, const ZrFloatMatrix& image,
                                  const RfaParameters& params, const RfaFitOptions& options) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  ClearEquations(eq, BasisCount(g.Degrees));
  RfaFitPixels px;
  CollectPixels(px, g, image, options.Basis);
  const RfaDiscBasis basis(g, options.Basis);
  const int32_t threads = ThreadsOf(options);
  RfaFitReport report;
  report.Threads = threads;
  const auto table = BasisTable(g, basis, px, options, threads, report);
  std::vector<long double> Mp, bp;
  RfaAccumulateFitSums(px, basis, table.get(), threads, true, Mp, bp);
  Unpad(eq, Mp, bp, true);
  if (options.Report != nullptr) *options.Report = report;
}

void RfaSphericalHarmonicsBackground(ZrFloatMatrix& result, const RfaParameters& params,
                                     const ZrFloatMatrix& image, const RfaFitOptions& options) {
  const RfaFitGeometry g = RfaMakeFitGeometry(params, image);
  RfaNormalEquations eq;
  ClearEquations(eq, BasisCount(g.Degrees));
  RfaFitPixels px;
  CollectPixels(px, g, image, options.Basis);
  RfaFitCache& cache = RfaFitCache::Instance();
  std::shared_ptr<const RfaNormalMatrixEntry> kept;
  if (options.Reuse) kept = cache.FindMatrix(px.Key);
  const RfaDiscBasis basis(g, options.Basis);
  const int32_t threads = ThreadsOf(options);
  RfaFitReport report;
  report.Threads = threads;
  report.MatrixReused = kept != nullptr;
  const auto table = BasisTable(g, basis, px, options, threads, report);
  std::vector<long double> Mp, bp;
  RfaAccumulateFitSums(px, basis, table.get(), threads, kept == nullptr, Mp, bp);
  Unpad(eq, Mp, bp, kept == nullptr);
  px.X = {};  // the pixel list is not needed any more
  px.Y = {};
  px.P = {};

  if (kept == nullptr) {
    DumpMatrix("M", eq.M);
    ZrLDoubleMatrix inverse = ZrMatrixOperator::LuInverse(eq.M);
    auto entry = std::make_shared<RfaNormalMatrixEntry>();
    entry->Key = std::move(px.Key);
    entry->M = std::move(eq.M);
    entry->Inverse = std::move(inverse);
    kept = entry;
    DumpMatrix("iM", kept->Inverse);
    if (options.Reuse) cache.KeepMatrix(kept);
  } else {
    DumpMatrix("M", kept->M);
    DumpMatrix("iM", kept->Inverse);
  }
  const ZrLDoubleMatrix c = kept->Inverse * eq.b;

  result.Resize(image.ColSize, image.RowSize);
  result.SetBegin(image.ColBegin, image.RowBegin);
  result.Fill(0.0f);
  RfaEvaluateFit(result, g, basis, table.get(), c, threads, options.Basis);
  if (options.Report != nullptr) *options.Report = report;
  if (options.Solution != nullptr) *options.Solution = {c, kept};
}
