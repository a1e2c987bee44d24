// Reading and writing audio files through libsndfile, block by block, as
// interleaved 16-bit samples. Any other sample format is converted to 16 bits
// by rounding to the nearest step, without dither.
#pragma once

#include <sndfile.h>

#include <memory>
#include <string>
#include <vector>

namespace hvrender {

// A whole programme in memory (the demo programme).
struct Audio {
  int sampleRate = 48000;
  int channels = 2;
  int format = 0;  // libsndfile format (container | sample format)
  std::vector<short> samples;  // interleaved
  long long Frames() const { return channels > 0 ? static_cast<long long>(samples.size()) / channels : 0; }
};

// Where the input comes from: a file read block by block, or a programme in
// memory.
class Source {
 public:
  virtual ~Source() = default;
  int sampleRate = 0;
  int channels = 0;
  int format = 0;
  long long frames = -1;  // what the header announces; -1 unknown (a pipe)
  // Announced by the header but missing from the file, found on opening.
  long long missingFrames = 0;
  // Reads up to `n` frames; returns how many, 0 at the end.
  virtual long long Read(short* out, long long n) = 0;
};

// Opens a file ("-": standard input). Throws std::runtime_error naming the
// file and the problem.
std::unique_ptr<Source> OpenAudio(const std::string& path);
std::unique_ptr<Source> MemorySource(const Audio& audio);

// Names the sample format, e.g. "WAV, 24-bit PCM".
std::string DescribeFormat(int format);
// Whether the sample format is 16-bit PCM (nothing is converted).
bool IsPcm16(int format);

// The libsndfile format an output file gets: the container its extension
// names (the input's when it names none libsndfile knows), in the input's
// sample format where that container takes it, else 16-bit PCM. `note` says
// why, when the container is not the input's or the name gave none.
int OutputFormat(const std::string& path, int inputFormat, std::string& note);

// Identity of a file for "is it the same file": device and inode when it
// exists, else its folder's device and inode and its name.
struct FileId {
  unsigned long long dev = 0, ino = 0;
  std::string name;
  bool operator==(const FileId&) const = default;
};
FileId IdentifyFile(const std::string& path);  // "-": standard input

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

// Audio written block by block into a pending file's temporary path.
class AudioSink {
 public:
  AudioSink(const PendingFile& file, int sampleRate, int channels, int format);
  ~AudioSink();
  AudioSink(const AudioSink&) = delete;
  AudioSink& operator=(const AudioSink&) = delete;
  void Write(const short* samples, long long frames);
  void Close();  // throws when the file cannot be finished
 private:
  SNDFILE* file_;
};

// Writes text into `file`'s temporary path.
void WriteText(const PendingFile& file, const std::string& text);

}  // namespace hvrender
