#include "AudioFile.h"

#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace hvrender {

namespace {

[[noreturn]] void Fail(const std::string& message) { throw std::runtime_error(message); }

short RoundTo16(double x) {
  const double v = std::nearbyint(x * 32768.0);
  return static_cast<short>(v > 32767.0 ? 32767.0 : (v < -32768.0 ? -32768.0 : v));
}

}  // namespace

Audio ReadAudio(const std::string& path) {
  SF_INFO info{};
  SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
  if (f == nullptr) {
    if (!std::filesystem::exists(path)) Fail(path + ": no such file");
    Fail(path + ": cannot read it as audio (" + sf_strerror(nullptr) + ")");
  }
  Audio audio;
  audio.sampleRate = info.samplerate;
  audio.channels = info.channels;
  audio.format = info.format;
  const size_t count = static_cast<size_t>(info.frames) * static_cast<size_t>(info.channels);
  if (IsPcm16(info.format)) {
    audio.samples.resize(count);
    const sf_count_t got = sf_readf_short(f, audio.samples.data(), info.frames);
    audio.samples.resize(static_cast<size_t>(got) * static_cast<size_t>(info.channels));
  } else {
    // Doubles carry 24- and 32-bit PCM and floats exactly; each sample is then
    // rounded to the nearest 16-bit step (no dither), clipped at full scale.
    sf_command(f, SFC_SET_NORM_DOUBLE, nullptr, SF_TRUE);
    std::vector<double> d(count);
    const sf_count_t got = sf_readf_double(f, d.data(), info.frames);
    d.resize(static_cast<size_t>(got) * static_cast<size_t>(info.channels));
    audio.samples.resize(d.size());
    for (size_t i = 0; i < d.size(); ++i) audio.samples[i] = RoundTo16(d[i]);
  }
  sf_close(f);
  return audio;
}

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

void WriteAudio(const PendingFile& file, const Audio& audio, int format) {
  SF_INFO info{};
  info.samplerate = audio.sampleRate;
  info.channels = audio.channels;
  info.format = format;
  SNDFILE* f = sf_open(file.TempPath().c_str(), SFM_WRITE, &info);
  if (f == nullptr) Fail("cannot write the output (" + std::string(sf_strerror(nullptr)) + ")");
  const sf_count_t frames = audio.Frames();
  const sf_count_t put = sf_writef_short(f, audio.samples.data(), frames);
  const bool ok = put == frames && sf_close(f) == 0;
  if (!ok) Fail("cannot write the output (disk full?)");
}

void WriteText(const PendingFile& file, const std::string& text) {
  std::FILE* f = std::fopen(file.TempPath().c_str(), "w");
  if (f == nullptr) Fail("cannot write " + file.TempPath());
  const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
  if (std::fclose(f) != 0 || !ok) Fail("cannot write " + file.TempPath());
}

}  // namespace hvrender
