// Reading and writing audio files through libsndfile, as interleaved 16-bit
// samples. Any other sample format is converted to 16 bits by rounding to the
// nearest step, without dither; the output goes back in the input's container
// and sample format.
#pragma once

#include <string>
#include <vector>

namespace hvrender {

struct Audio {
  int sampleRate = 48000;
  int channels = 2;
  int format = 0;  // libsndfile format of the source (container | sample format)
  std::vector<short> samples;  // interleaved
  long long Frames() const { return channels > 0 ? static_cast<long long>(samples.size()) / channels : 0; }
};

// Reads a whole file. Throws std::runtime_error naming the file and the
// problem.
Audio ReadAudio(const std::string& path);

// Names the sample format, e.g. "WAV, 24-bit PCM".
std::string DescribeFormat(int format);
// Whether the sample format is 16-bit PCM (nothing is converted).
bool IsPcm16(int format);

// A file written under a temporary name in the target's folder and renamed
// to the target by Commit: a failed run never leaves a partial file. The
// destructor removes the temporary file unless it was committed.
class PendingFile {
 public:
  explicit PendingFile(const std::string& target);  // throws when the folder cannot be written
  ~PendingFile();
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  const std::string& TempPath() const { return temp_; }
  void Commit();  // throws when the rename fails
 private:
  std::string target_;
  std::string temp_;
  bool committed_ = false;
};

// Writes `audio` into `file`'s temporary path in the given libsndfile format.
void WriteAudio(const PendingFile& file, const Audio& audio, int format);
// Writes text into `file`'s temporary path.
void WriteText(const PendingFile& file, const std::string& text);

}  // namespace hvrender
