#include "support/media.h"

#include <numeric>
#include <sstream>
#include <stdexcept>

#include "support/process.h"

namespace support {

namespace {

// The lines that a media tool prints; it must succeed.
std::vector<std::string> Lines(const std::vector<std::string>& command) {
  const Finished run = Run(command);
  if (run.exitCode != 0) throw std::runtime_error(command.front() + ": " + run.err);
  std::vector<std::string> lines;
  std::istringstream text(run.out);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

// One line for each packet of a kind, with the fields named. The times are those of the media, not
// of the edit list.
std::vector<std::string> Packets(const std::filesystem::path& path, const std::string& kind,
                                 const std::string& fields) {
  return Lines({"ffprobe", "-v", "error", "-ignore_editlist", "1", "-select_streams", kind,
                "-show_packets", "-show_data_hash", "md5", "-show_entries", "packet=" + fields,
                "-of", "csv=p=0", path});
}

std::vector<long long> PacketNumbers(const std::filesystem::path& path, const std::string& kind,
                                     const std::string& field) {
  std::vector<long long> numbers;
  for (const std::string& line : Packets(path, kind, field)) numbers.push_back(std::stoll(line));
  return numbers;
}

}  // namespace

bool HasMediaTools() { return HasProgram("ffmpeg") && HasProgram("ffprobe"); }

std::vector<std::string> PacketHashes(const std::filesystem::path& path, const std::string& kind) {
  return Packets(path, kind, "size,data_hash");
}

std::string StreamBytes(const std::filesystem::path& path, const std::string& kind) {
  const Finished run = Run({"ffmpeg", "-v", "error", "-nostdin", "-i", path, "-map", "0:" + kind,
                            "-c", "copy", "-f", "data", "-"});
  if (run.exitCode != 0) throw std::runtime_error("ffmpeg: " + run.err);
  return run.out;
}

std::vector<long long> PresentationTimes(const std::filesystem::path& path,
                                         const std::string& kind) {
  return PacketNumbers(path, kind, "pts");
}

long long MediaDuration(const std::filesystem::path& path, const std::string& kind) {
  const std::vector<long long> durations = PacketNumbers(path, kind, "duration");
  return std::accumulate(durations.begin(), durations.end(), 0LL);
}

std::string DecodingComplaints(const std::filesystem::path& path) {
  // No guess where a file does not name its loudspeakers: ffmpeg would speak of it.
  const Finished run = Run({"ffmpeg", "-v", "warning", "-nostdin", "-guess_layout_max", "0", "-i",
                            path, "-map", "0", "-f", "null", "-"});
  return run.exitCode == 0 ? run.err : run.err + "exit code " + std::to_string(run.exitCode);
}

}  // namespace support
