// Makes room for the sample tables of many clips before they are appended to those of the first.
#pragma once

#include <atomic>
#include <cstddef>
#include <future>
#include <vector>

#include "reader/typed_views.h"

namespace clipchain {

// Tables that grow clip by clip would be copied whenever they are full, each time into memory that
// the system has to clear first. Here they get their room at once, and another thread has it
// cleared while the first clips are looked at.
class TableRoom {
 public:
  // The tables of the movie, which must outlive this object, are expected to become `growth` times
  // as long. What the system does not grant is done without.
  TableRoom(MP4G::CMovieBox* movie, double growth);
  TableRoom(const TableRoom&) = delete;
  TableRoom& operator=(const TableRoom&) = delete;
  // Waits for the thread.
  ~TableRoom() { isOver_ = true; }

 private:
  struct Room {
    unsigned char* begin;
    std::size_t size;
  };

  template <class Table>
  void Enlarge(Table& table, double growth);
  void EnlargeTables(MP4G::CTrackBox* track, double growth);
  void Prepare() const;

  std::vector<Room> rooms_;
  std::atomic<bool> isOver_ = false;
  // Ends first.
  std::future<void> thread_;
};

}  // namespace clipchain
