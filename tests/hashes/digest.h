// The table's rows, and what they share: fixed inputs, and a running hash of outputs.
#ifndef TN_KITS_TESTS_HASHES_DIGEST_H_
#define TN_KITS_TESTS_HASHES_DIGEST_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "tn_boxtracker.h"

namespace tn_test {

using Bytes = std::vector<std::uint8_t>;

inline std::size_t count(std::int64_t n) { return static_cast<std::size_t>(n); }

// The same bytes everywhere: the standard fixes the generator, though no distribution. They are kept:
// once one thread has run a row, others that run it only read, all of them the same bytes.
inline const Bytes& fixedBytes(std::size_t size) {
  static std::map<std::size_t, Bytes> kept;
  const auto known = kept.find(size);
  if (known != kept.end()) return known->second;
  Bytes bytes(size);
  std::mt19937 random(static_cast<std::uint32_t>(size));
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 24);
  return kept[size] = std::move(bytes);
}

// Outputs start as this, so that bytes that are not written count too.
inline Bytes untouched(std::size_t size) { return Bytes(size, 0xA5); }

// FNV-1a of 64 bits: not safe from malice, but it needs no library and any changed bit shows.
class Digest {
 public:
  void add(const void* data, std::size_t size) {
    const std::uint8_t* const bytes = static_cast<const std::uint8_t*>(data);
    for (std::size_t i = 0; i < size; ++i) value_ = (value_ ^ bytes[i]) * 0x100000001B3u;
  }
  void add(const Bytes& bytes) { add(bytes.data(), bytes.size()); }
  void add(float value) { add(&value, sizeof value); }
  void add(std::int64_t value) { add(&value, sizeof value); }

  std::uint64_t value() const { return value_; }

 private:
  std::uint64_t value_ = 0xCBF29CE484222325u;
};

// A kernel, or a class with a state, over all its fixed inputs. Several threads may run rows at once.
struct HashRow {
  const char* name;
  void (*run)(Digest& digest);
};

std::vector<HashRow> pixelRows();     // pixel_rows.cpp
std::vector<HashRow> frameRows();     // frame_rows.cpp
std::vector<HashRow> platformRows();  // platform_rows.cpp
std::vector<HashRow> trackingRows();  // tracking_rows.cpp

// Puts the parameters and the clock of the tracking rows in force, and those from before at its end.
class TrackingOfRows {
 public:
  TrackingOfRows();
  TrackingOfRows(const TrackingOfRows&) = delete;
  TrackingOfRows& operator=(const TrackingOfRows&) = delete;
  ~TrackingOfRows();

 private:
  Tarn::TarnBoundingBoxesTrackerParams before_;
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_HASHES_DIGEST_H_
