#include "AudioFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <stdexcept>

namespace hvrender {

namespace {

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

short RoundTo16(double x) {
  const double v = std::nearbyint(x * 32768.0);
  return static_cast<short>(v > 32767.0 ? 32767.0 : (v < -32768.0 ? -32768.0 : v));
}

// Bytes of audio the header announces and the file holds, from libsndfile's
// log of the header ("data : 576000 (should be 100000)"); 0, 0 when they agree.
// A size of 0 or 0xFFFFFFFF is the mark of a stream written without knowing
// its length, not a promise.
std::pair<long long, long long> AnnouncedAndHeld(SNDFILE* f) {
  char log[8192] = {};
  sf_command(f, SFC_GET_LOG_INFO, log, sizeof log);
  std::istringstream lines(log);
  for (std::string line; std::getline(lines, line);) {
    if (line.rfind("data ", 0) != 0 && line.rfind("SSND ", 0) != 0) continue;
    long long announced = 0, held = 0;
    if (std::sscanf(line.c_str() + 4, " : %lld (should be %lld)", &announced, &held) == 2 && held < announced &&
        announced != 0xFFFFFFFFll)
      return {announced, held};
  }
  return {0, 0};
}

class FileSource : public Source {
 public:
  FileSource(SNDFILE* f, const SF_INFO& info) : f_(f) {
    sampleRate = info.samplerate;
    channels = info.channels;
    format = info.format;
    const bool known = info.frames > 0 && info.frames < SF_COUNT_MAX / 2;
    frames = known ? info.frames : -1;
    const auto [announced, held] = AnnouncedAndHeld(f);
    if (held > 0 && known) missingFrames = static_cast<long long>(
        static_cast<double>(info.frames) * static_cast<double>(announced - held) / static_cast<double>(held));
    if (!IsPcm16(format)) sf_command(f, SFC_SET_NORM_DOUBLE, nullptr, SF_TRUE);
  }
  ~FileSource() override { sf_close(f_); }
  long long Read(short* out, long long n) override {
    if (IsPcm16(format)) return sf_readf_short(f_, out, n);
    // Doubles carry 24- and 32-bit PCM and floats exactly; each sample is
    // then rounded to the nearest 16-bit step (no dither), clipped at full
    // scale.
    d_.resize(static_cast<size_t>(n * channels));
    const sf_count_t got = sf_readf_double(f_, d_.data(), n);
    std::transform(d_.begin(), d_.begin() + got * channels, out, RoundTo16);
    return got;
  }
 private:
  SNDFILE* f_;
  std::vector<double> d_;
};

class InMemory : public Source {
 public:
  explicit InMemory(const Audio& a) : a_(a) {
    sampleRate = a.sampleRate;
    channels = a.channels;
    format = a.format;
    frames = a.Frames();
  }
  long long Read(short* out, long long n) override {
    n = std::min(n, frames - pos_);
    std::copy_n(a_.samples.begin() + pos_ * channels, n * channels, out);
    pos_ += n;
    return n;
  }
 private:
  const Audio& a_;
  long long pos_ = 0;
};

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return s;
}

// The first container libsndfile lists for this extension; 0 for none.
int ContainerOf(const std::string& extension) {
  int count = 0;
  sf_command(nullptr, SFC_GET_FORMAT_MAJOR_COUNT, &count, sizeof count);
  for (int k = 0; k < count; ++k) {
    SF_FORMAT_INFO fi{};
    fi.format = k;
    sf_command(nullptr, SFC_GET_FORMAT_MAJOR, &fi, sizeof fi);
    if (fi.extension != nullptr && Lower(extension) == fi.extension) return fi.format;
  }
  return 0;
}

bool Writable(int format) {
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = 2;
  info.format = format;
  return sf_format_check(&info) != 0;
}

}  // namespace

std::unique_ptr<Source> OpenAudio(const std::string& path) {
  if (path != "-" && std::filesystem::is_directory(path)) Fail(path + ": is a folder, not an audio file");
  if (path != "-" && !std::filesystem::exists(path)) Fail(path + ": no such file");
  SF_INFO info{};
  SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
  if (f == nullptr) Fail(path + ": cannot read it as audio (" + sf_strerror(nullptr) + ")");
  return std::make_unique<FileSource>(f, info);
}

std::unique_ptr<Source> MemorySource(const Audio& audio) { return std::make_unique<InMemory>(audio); }

bool IsPcm16(int format) { return (format & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16; }

std::string DescribeFormat(int format) {
  SF_FORMAT_INFO major{};
  major.format = format & SF_FORMAT_TYPEMASK;
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &major, sizeof(major));
  SF_FORMAT_INFO minor{};
  minor.format = format & SF_FORMAT_SUBMASK;
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &minor, sizeof(minor));
  std::string m = major.name ? major.name : "?";
  if (auto p = m.find(' '); p != std::string::npos) m = m.substr(0, p);  // "WAV (Microsoft)" -> "WAV"
  return m + ", " + (minor.name ? minor.name : "?");
}

int OutputFormat(const std::string& path, int inputFormat, std::string& note) {
  const std::string ext = std::filesystem::path(path).extension().string();
  const int inputContainer = inputFormat & SF_FORMAT_TYPEMASK;
  int container = ext.size() > 1 ? ContainerOf(ext.substr(1)) : 0;
  if (container == 0) {
    container = inputContainer;
    note = "\"" + ext + "\" names no container libsndfile writes: written as " +
           DescribeFormat(inputFormat).substr(0, DescribeFormat(inputFormat).find(',')) + ", as the input";
  }
  int format = container | (inputFormat & SF_FORMAT_SUBMASK);
  if (!Writable(format)) format = container | SF_FORMAT_PCM_16;
  for (int k = 0; !Writable(format); ++k) {  // e.g. Ogg: its own codec
    int count = 0;
    sf_command(nullptr, SFC_GET_FORMAT_SUBTYPE_COUNT, &count, sizeof count);
    if (k >= count) Fail(path + ": libsndfile cannot write that container");
    SF_FORMAT_INFO fi{};
    fi.format = k;
    sf_command(nullptr, SFC_GET_FORMAT_SUBTYPE, &fi, sizeof fi);
    format = container | fi.format;
  }
  if (container != inputContainer)
    note = "the file name asks for " + DescribeFormat(format) + "; the input is " + DescribeFormat(inputFormat);
  return format;
}

FileId IdentifyFile(const std::string& path) {
  struct stat st {};
  if (path == "-" ? fstat(STDIN_FILENO, &st) == 0 : stat(path.c_str(), &st) == 0) return {st.st_dev, st.st_ino, ""};
  std::filesystem::path p(path);
  const std::string dir = p.parent_path().empty() ? "." : p.parent_path().string();
  if (stat(dir.c_str(), &st) != 0) return {0, 0, path};
  return {st.st_dev, st.st_ino, p.filename().string()};
}

PendingFile::PendingFile(const std::string& target) : target_(target) {
  namespace fs = std::filesystem;
  const fs::path t(target);
  if (t.filename().empty()) Fail(target + ": not a file name");
  fs::path dir = t.parent_path();
  if (dir.empty()) dir = ".";
  if (fs::is_directory(t)) Fail(target + ": is a folder");
  std::string name(".");
  name.append(t.filename().string()).append(".XXXXXX");
  std::string pattern = (dir / name).string();
  const int fd = mkstemp(pattern.data());
  if (fd < 0) Fail(target + ": cannot write there (" + std::strerror(errno) + ")");
  // mkstemp makes the file private; give it the mode a new file would get.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);
  close(fd);
  temp_ = pattern;
}

PendingFile::~PendingFile() {
  if (!committed_ && !temp_.empty()) std::remove(temp_.c_str());
}

void PendingFile::Commit() {
  if (std::rename(temp_.c_str(), target_.c_str()) != 0)
    Fail(target_ + ": cannot write it (" + std::strerror(errno) + ")");
  committed_ = true;
}

AudioSink::AudioSink(const PendingFile& file, int sampleRate, int channels, int format) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = channels;
  info.format = format;
  file_ = sf_open(file.TempPath().c_str(), SFM_WRITE, &info);
  if (file_ == nullptr) Fail("cannot write the output (" + std::string(sf_strerror(nullptr)) + ")");
  // 16-bit samples into a floating-point file are scaled to +-1.0 (libsndfile
  // writes them unscaled unless told).
  sf_command(file_, SFC_SET_SCALE_INT_FLOAT_WRITE, nullptr, SF_TRUE);
}

AudioSink::~AudioSink() {
  if (file_ != nullptr) sf_close(file_);
}

void AudioSink::Write(const short* samples, long long frames) {
  if (sf_writef_short(file_, samples, frames) != frames) Fail("cannot write the output (disk full?)");
}

void AudioSink::Close() {
  const int r = sf_close(file_);
  file_ = nullptr;
  if (r != 0) Fail("cannot write the output (disk full?)");
}

void WriteText(const PendingFile& file, const std::string& text) {
  std::FILE* f = std::fopen(file.TempPath().c_str(), "w");
  if (f == nullptr) Fail("cannot write " + file.TempPath());
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (std::fclose(f) != 0 || !ok) Fail("cannot write " + file.TempPath());
}

}  // namespace hvrender
