// What an independent reader finds in a media file. All of it asks ffmpeg or ffprobe.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace support {

// Whether ffmpeg and ffprobe are there.
bool HasMediaTools();

// The packets of all streams of one kind ("v" or "a") in the file's order, each as size and hash.
// Empty also for a file that has none.
std::vector<std::string> PacketHashes(const std::filesystem::path& path, const std::string& kind);

// All bytes of a stream, packet after packet.
std::string StreamBytes(const std::filesystem::path& path, const std::string& kind);

// When the packets of a kind are shown, in ticks of its time scale, in decoding order.
std::vector<long long> PresentationTimes(const std::filesystem::path& path,
                                         const std::string& kind);

// The sum of the packets' durations, in ticks.
long long MediaDuration(const std::filesystem::path& path, const std::string& kind);

// What ffmpeg complains about when it decodes the whole file; empty if all is well.
std::string DecodingComplaints(const std::filesystem::path& path);

}  // namespace support
