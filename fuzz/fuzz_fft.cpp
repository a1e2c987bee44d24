// The FFT kit on arbitrary words: every transform with any length (valid
// powers of two and refused ones), any exponent for the inverses, arrays that
// coincide or overlap, and the vector shift and normalisation routines with
// any shift over lengths inside the caller's arrays.
#include "FuzzInput.h"
#include "hvtralofx/FixedFFT.h"

using namespace hvfuzz;

namespace {

constexpr int kWords = 1024;

short AnyLength(FuzzedDataProvider& in) {
  if (in.ConsumeProbability<float>() < 0.85f) return static_cast<short>(2 << in.ConsumeIntegralInRange(0, 9));
  return in.ConsumeIntegral<short>();  // refused unless a power of two 2 ... 1024
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider in(data, size);
  // Three arrays back to back: the second transform array may start inside the first.
  std::vector<int> words = Samples<int>(in, 3 * kWords);
  int* a = words.data();
  int* b = words.data() + kWords;
  for (int call = 0; call < 4 && in.remaining_bytes() > 0; ++call) {
    const short n = AnyLength(in);
    // Lengths above the arrays are refused by the kit; the routines that
    // take any length get one within the arrays.
    const short m = static_cast<short>(in.ConsumeIntegralInRange(-2, kWords));
    short e = in.ConsumeIntegral<short>();
    int* second = in.ConsumeProbability<float>() < 0.9f ? b : a + in.ConsumeIntegralInRange(0, kWords);
    switch (in.ConsumeIntegralInRange(0, 7)) {
      case 0: RealFFT_Fix(a, n, e); RealInvFFT_Fix(a, n, e); break;
      case 1: RealInvFFT_Fix(a, n, e); break;
      case 2: RealFFT_2ch_Fix(a, second, n, e); RealInvFFT_2ch_Fix(a, second, n, e); break;
      case 3: RealInvFFT_2ch_Fix(a, second, n, e); break;
      case 4:
        // The complex transform's contract asks for the headroom the real
        // transforms establish: normalise first where the length is valid.
        if (n >= 2 && n <= kWords && (n & (n - 1)) == 0) VectNormBySumAbs_Complex(a, second, n, 0);
        ComplexFFT_Fix(a, second, n);
        break;
      case 5: VectNormBySumAbs_Real(a, m, e); VectNormBySumAbs_Complex(a, b, m, e); break;
      case 6: VectLShiftWithSature(a, e, m); break;
      default: VectRShiftWithRound(a, e, m); break;
    }
  }
  return 0;
}
