// Calls for which no memory is left.
#ifndef TN_KITS_TESTS_MEMORY_ALL_OR_NOTHING_H_
#define TN_KITS_TESTS_MEMORY_ALL_OR_NOTHING_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <new>

#include "tests/support/allocation_count.h"
#include "tests/support/digest.h"

namespace tn_test {

// Whether the call comes through when its nth block of memory, and maybe all later ones, cannot be had.
template <class Subject>
bool actsWithout(Subject& subject, std::size_t nth, bool and_later) {
  const FailingAllocation failing(nth, and_later);
  try {
    subject.act();
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

template <class Subject>
std::uint64_t described(Subject& subject) {
  Digest digest;
  subject.describe(digest);
  return digest.value();
}

// A Subject makes itself and what is to happen to it in its constructor; act is the call in question,
// and describe gives the results of that call and of some that follow. Shows for each block that act
// takes: without it act throws std::bad_alloc, and what follows is as if it had not been called; and it
// can be called again.
template <class Subject, class... Arguments>
void expectAllOrNothing(const Arguments&... arguments) {
  Subject never(arguments...), once(arguments...);
  const std::uint64_t nothing = described(never);
  once.act();
  const std::uint64_t all = described(once);
  ASSERT_NE(all, nothing);
  for (const bool and_later : {false, true})
    for (std::size_t nth = 1;; ++nth) {
      SCOPED_TRACE(testing::Message() << "block " << nth << (and_later ? " and later ones" : ""));
      Subject failed(arguments...), again(arguments...);
      const bool done = actsWithout(failed, nth, and_later);
      ASSERT_EQ(described(failed), done ? all : nothing);
      if (done) {
        ASSERT_GT(nth, 1u) << "takes no memory";
        break;
      }
      ASSERT_FALSE(actsWithout(again, nth, and_later));
      again.act();
      ASSERT_EQ(described(again), all);
    }
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_MEMORY_ALL_OR_NOTHING_H_
