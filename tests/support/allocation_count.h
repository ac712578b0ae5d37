// How many blocks of memory the program has asked for and how many it holds, to show what allocates
// nothing and what leaks nothing; and memory that cannot be had.
#ifndef TN_KITS_TESTS_SUPPORT_ALLOCATION_COUNT_H_
#define TN_KITS_TESTS_SUPPORT_ALLOCATION_COUNT_H_

#include <cstddef>

namespace tn_test {

// Blocks asked for so far, by any thread. Counted are the calls of operator new; a program that is
// linked with --wrap=malloc,--wrap=calloc,--wrap=free and compiled with TN_COUNT_MALLOC counts direct
// calls of these as well.
std::size_t allocationCount();
std::size_t allocatedBytes();

// Blocks that were counted and are not yet released.
std::size_t heldBlocks();

// While an object of this class lives, what would be the `nth` block counted, from 1, cannot be had; nor
// can the later ones, if `and_later`.
class FailingAllocation {
 public:
  FailingAllocation(std::size_t nth, bool and_later);
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;
  ~FailingAllocation();
};

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_ALLOCATION_COUNT_H_
