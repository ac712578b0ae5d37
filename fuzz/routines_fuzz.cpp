// The table of routines at any sizes. Either sizes that the contract allows, where results equal the
// plain form in blocks of exactly the bytes that tn_extents.h says; or any numbers and views at all,
// where the checked form refuses with a sentence or stays inside its blocks.
#include <stdexcept>
#include <string>

#include "fuzz/fuzz_input.h"
#include "tests/routines/routine.h"

namespace {

using namespace tn_routines;
using tn_fuzz::FuzzInput;

constexpr std::size_t kMostBytes = 6000;

class FuzzDice : public Dice {
 public:
  explicit FuzzDice(FuzzInput& input) : input_(input) {}
  int between(int low, int high) override { return input_.between(low, high); }

 private:
  FuzzInput& input_;
};

void comparePlainForm(FuzzInput& input, const Routine& routine) {
  FuzzDice dice(input);
  const Numbers numbers = routine.draw(dice);
  const std::vector<Buffer> buffers = routine.buffers(numbers);
  std::vector<Bytes> before = contentsOf(buffers, 0xA5, input.byte());
  // Bytes may be any; floats too, now and then.
  const bool any_floats = input.byte() % 4 == 0;
  for (std::size_t k = 0; k < buffers.size(); ++k)
    if (buffers[k].use == Use::kRead && buffers[k].content.empty() &&
        (buffers[k].kind == Kind::kBytes || any_floats))
      before[k] = input.bytes(before[k].size());
  Blocks<Bytes> got(buffers, before), expected(buffers, before);
  routine.call(numbers, got.starts());
  routine.plain(numbers, expected.starts());
  for (std::size_t k = 0; k < buffers.size(); ++k)
    if (buffers[k].use != Use::kScratch)
      FUZZ_CHECK(differenceOf(buffers[k], got[k].data(), expected[k].data()).empty());
}

int anyNumber(FuzzInput& input) {
  switch (input.byte() % 8) {
    case 0:
      return static_cast<int>(input.word());
    case 1: {
      // About powers of two and products that wrap.
      const std::uint32_t power = 1u << (input.byte() % 32);
      return static_cast<int>(power + static_cast<std::uint32_t>(input.between(-2, 2)));
    }
    case 2:
      return input.between(-3, 3);
    default:
      return input.between(1, 48);
  }
}

// Views of blocks of their own, or of one block that they share; sometimes null.
void callChecked(FuzzInput& input, const Routine& routine) {
  // The routine's own numbers say how many there are of each.
  Numbers numbers = routine.cases[0];
  for (int& number : numbers) number = anyNumber(input);
  const std::size_t count = routine.buffers(routine.cases[0]).size();
  const bool shared = input.byte() % 8 == 0;
  Bytes block(shared ? kMostBytes : 0, 0x5A);
  std::vector<Bytes> blocks(count);
  Views views;
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t bytes = static_cast<std::size_t>(input.between(0, kMostBytes));
    const bool null = input.byte() % 32 == 0;
    if (!null && !shared) blocks[k].assign(bytes, 0x5A);
    const std::size_t at = shared ? static_cast<std::size_t>(input.between(0, kMostBytes)) : 0;
    views.push_back(null     ? View{nullptr, bytes}
                    : shared ? View{block.data() + at, std::min(bytes, kMostBytes - at)}
                             : View{blocks[k].data(), bytes});
  }
  try {
    routine.checked(numbers, views);
  } catch (const std::invalid_argument& fault) {
    const std::string sentence = fault.what();
    FUZZ_CHECK(sentence.find("; ") != std::string::npos && sentence.find('\n') == std::string::npos);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  input.chooseTarget();
  const Table& table = allRoutines();
  const Routine& routine = table[static_cast<std::size_t>(input.byte()) % table.size()];
  if (input.coin()) {
    if (routine.draw) comparePlainForm(input, routine);
  } else if (routine.checked) {
    callChecked(input, routine);
  }
  return 0;
}
