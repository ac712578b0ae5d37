// Several threads that begin together.
#ifndef TN_KITS_TESTS_SUPPORT_THREADS_H_
#define TN_KITS_TESTS_SUPPORT_THREADS_H_

#include <atomic>
#include <thread>
#include <vector>

namespace tn_test {

// Runs body(0) to body(count - 1), each on a thread of its own; none begins before all threads are
// there.
template <class Body>
void onThreads(int count, const Body& body) {
  std::atomic<int> missing{count};
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i)
    threads.emplace_back([&body, &missing, i] {
      // Relaxed: an order between the threads would hide their races.
      missing.fetch_sub(1, std::memory_order_relaxed);
      while (missing.load(std::memory_order_relaxed) > 0) std::this_thread::yield();
      body(i);
    });
  for (std::thread& thread : threads) thread.join();
}

}  // namespace tn_test

#endif  // TN_KITS_TESTS_SUPPORT_THREADS_H_
