// What tests share: buffers that end at an unreadable page, seeded bytes, and a loop over the
// instruction sets of the machine.
#ifndef TN_KITS_TESTS_SUPPORT_TEST_SUPPORT_H_
#define TN_KITS_TESTS_SUPPORT_TEST_SUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace tn_test {

// Bytes whose last one is followed by an unreadable page and whose first one is preceded by canaries,
// which the destructor checks; or the other way round (see ForEachTarget).
class Guarded {
 public:
  explicit Guarded(std::size_t size, std::uint8_t fill = 0);
  Guarded(Guarded&&) noexcept = default;
  Guarded& operator=(Guarded&&) noexcept = default;
  ~Guarded();

  std::uint8_t* data() { return data_; }
  const std::uint8_t* data() const { return data_; }
  float* floats() { return reinterpret_cast<float*>(data_); }
  std::size_t size() const { return size_; }
  std::uint8_t& operator[](std::size_t i) { return data_[i]; }
  const std::uint8_t& operator[](std::size_t i) const { return data_[i]; }

 private:
  struct Unmap {
    std::size_t bytes;
    void operator()(void* pages) const;
  };
  std::unique_ptr<void, Unmap> pages_;
  std::uint8_t* data_;
  std::uint8_t* canaries_ = nullptr;
  std::size_t size_;
};

// Uniform bytes; the same for the same seed.
Guarded RandomBytes(std::size_t size, std::uint32_t seed = 1);

// Runs `body` for every instruction set that both the build and the machine have, best first, with
// dispatch restricted to it: once with the unreadable page behind each Guarded that it makes, and once
// with the page in front. A failure names the set and the place.
void ForEachTarget(const std::function<void()>& body);

// What a call throws as an invalid argument, or another fault; empty when it passes.
template <class Fault = std::invalid_argument, class Call>
std::string FaultOf(const Call& call) {
  try {
    call();
  } catch (const Fault& fault) {
    return fault.what();
  }
  return {};
}

// The pattern of what a failed check prints when it ends the process; C libraries word it differently.
// condition: a pattern itself, of what GoogleTest understands everywhere: no groups, no alternatives.
std::string FailedCheck(const std::string& condition, const std::string& file, int line);

// A path in the folder for temporary files that no other test has, nor the same test of another
// checkout. Whoever makes something there removes it.
std::string TempPath(const std::string& ending = {});

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_TEST_SUPPORT_H_
