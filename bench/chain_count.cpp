// Driver for instruction counting (bench/count_instructions.sh): configures
// the chain, runs a few warm-up blocks through the front interface, then
// runs `blocks` more blocks of what is asked for and exits. The counting
// script runs it twice with different block counts; the difference of the
// two counts, divided by the extra frames, is the cost per frame without the
// set-up.
//
//   chain_count stereo|5.1 chain|soundbar|lfe_bandpass|lfe_leveller|leveller|equalizer|limiter BLOCKS
//   chain_count stereo|5.1 heap 0        (prints the heap held after HVTralo_Init)
//   chain_count stereo|5.1 hash BLOCKS   (prints a hash of every output sample)
//   chain_count fir257 - BLOCKS          (one 512-sample CFIRFxd block of 32-bit samples)
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <string>
#include <vector>

#include "ChainSetup.h"
#include "FirTaps.h"
#include "hvtralofx/CFIRFxd.h"

namespace {

int RunFir(int blocks) {
  std::vector<short> taps = bench::HighpassTaps();
  short q = 1;
  CFIRFxd fir;
  fir.Init(taps.data(), &q, bench::kTaps, 1);
  std::vector<int> in(chain::kBlock), out(chain::kBlock);
  unsigned seed = 1;
  for (int& s : in) {
    seed = seed * 1103515245u + 12345u;
    s = static_cast<int>(seed >> 8) % 4000000 - 2000000;
  }
  for (int b = 0; b < blocks; ++b) fir.Filter(in.data(), out.data(), chain::kBlock, 1);
  return out[7] == 12345 ? 1 : 0;  // keeps the work observable
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s stereo|5.1|fir257 chain|STAGE BLOCKS\n", argv[0]);
    return 2;
  }
  const std::string layout = argv[1], what = argv[2];
  const int blocks = std::atoi(argv[3]);
  if (layout == "fir257") return RunFir(blocks);
  if (what == "heap") {  // bytes the library holds after HVTralo_Init (glibc's count of blocks in use)
    const size_t before = mallinfo2().uordblks;
    HVTralo_Init(chain::kRate, layout == "5.1" ? 6 : 2);
    std::printf("%zu\n", mallinfo2().uordblks - before);
    return 0;
  }
  const int channels = layout == "5.1" ? 6 : 2;

  chain::Configure(channels);
  constexpr int kMaterialBlocks = 16;
  const auto material = chain::Material(channels, kMaterialBlocks);
  std::vector<short> io(static_cast<size_t>(channels) * chain::kBlock);
  const size_t blockSamples = io.size();
  auto frontBlock = [&](int b) {
    std::memcpy(io.data(), material.data() + static_cast<size_t>(b % kMaterialBlocks) * blockSamples,
                sizeof(short) * blockSamples);
    HVTralo_Process(io.data(), chain::kBlock);
  };
  for (int b = 0; b < 4; ++b) frontBlock(b);  // the modules reach their working state

  if (what == "chain") {
    for (int b = 0; b < blocks; ++b) frontBlock(b);
    return io[3] == 12345 ? 1 : 0;
  }
  if (what == "hash") {  // FNV-1a of every output sample: a quick bit-exactness check between builds
    uint64_t hash = 14695981039346656037ull;
    for (int b = 0; b < blocks; ++b) {
      frontBlock(b);
      for (short s : io) hash = (hash ^ static_cast<uint16_t>(s)) * 1099511628211ull;
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(hash));
    return 0;
  }
  for (chain::Stage s : chain::kStages) {
    if (what != chain::StageName(s)) continue;
    const chain::StageRunner runner(s, channels);
    auto planar = chain::PlanarBlocks(material, channels, chain::StageRunner::InputShift(s));
    std::vector<int> in(planar[0].size()), out(in.size());
    const bool copy = chain::StageRunner::ChangesInput(s);
    for (int b = 0; b < blocks; ++b) {
      auto& block = planar[static_cast<size_t>(b) % planar.size()];
      // A plain loop, not memcpy: callgrind counts every byte of the string
      // copy glibc uses for large blocks as an instruction.
      if (copy)
        for (size_t i = 0; i < in.size(); ++i) in[i] = block[i];
      runner.Run(copy ? in.data() : block.data(), out.data());
    }
    return out[3] == 12345 ? 1 : 0;
  }
  std::fprintf(stderr, "unknown stage %s\n", what.c_str());
  return 2;
}
