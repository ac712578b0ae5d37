// Fixed inputs, and a running hash of results.
#ifndef TN_KITS_TESTS_SUPPORT_DIGEST_H_
#define TN_KITS_TESTS_SUPPORT_DIGEST_H_

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace tn_test {

using Bytes = std::vector<std::uint8_t>;

// Bytes of all values, the same everywhere.
inline Bytes fixedBytes(std::size_t size) {
  Bytes bytes(size);
  std::mt19937 random(static_cast<std::uint32_t>(size));
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 24);
  return bytes;
}

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

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_DIGEST_H_
