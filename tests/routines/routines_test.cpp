// Walks the table of routines: results and reach beside the plain forms, the checked forms, and whether
// every exported routine has its row.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <limits>
#include <optional>
#include <regex>
#include <set>

#include "tests/routines/routine.h"
#include "tests/support/test_support.h"

namespace {

using namespace tn_routines;
using tn_test::FaultOf;
using tn_test::ForEachTarget;
using tn_test::Guarded;

std::string text(const Routine& routine, const Numbers& numbers) {
  std::string all = routine.name + ",";
  for (const int number : numbers) all += " " + std::to_string(number);
  return all;
}

// An unreadable page ends the process; say at least whose call it was.
std::string at_work;
void nameCall(int fault) {
  std::fprintf(stderr, "out of its buffers: %s\n", at_work.c_str());
  std::signal(fault, SIG_DFL);
}

// Gives one block between unreadable pages, filled as asked.
class GuardedAllocator : public TarnCPU::Allocator {
 public:
  void* allocate(std::size_t bytes) override {
    // Only multiples of the alignment have it at both ends of a page.
    EXPECT_EQ(bytes % 64, 0u);
    return block_.emplace(bytes, fill).data();
  }
  void release(void*) override { block_.reset(); }

  std::uint8_t fill = 0;

 private:
  std::optional<Guarded> block_;
};

constexpr std::uint8_t kFills[] = {0xA5, 0x5A};

// A case and what its plain form makes of it, for each fill.
struct Expected {
  Numbers numbers;
  std::vector<Buffer> buffers;
  std::vector<Bytes> before[2], after[2];
};

Expected expectedOf(const Routine& routine, const Numbers& numbers, std::uint32_t seed) {
  Expected expected = {numbers, routine.buffers(numbers), {}, {}};
  for (int i = 0; i < 2; ++i) {
    expected.before[i] = contentsOf(expected.buffers, kFills[i], seed);
    Blocks<Bytes> blocks(expected.buffers, expected.before[i]);
    routine.plain(numbers, blocks.starts());
    for (std::size_t k = 0; k < expected.buffers.size(); ++k) expected.after[i].push_back(blocks[k]);
  }
  return expected;
}

// What a buffer that is read or written holds after a call, beside what it should.
std::string differenceOf(const Expected& expected, int i, Blocks<Guarded>& blocks) {
  std::string all;
  for (std::size_t k = 0; k < expected.buffers.size(); ++k)
    if (expected.buffers[k].use != Use::kScratch)
      all += differenceOf(expected.buffers[k], blocks[k].data(), expected.after[i][k].data());
  return all;
}

// Turns the highest bit of the last byte that a source has, but for those that are skipped.
bool lastByteCounts(const Routine& routine, const Expected& expected, GuardedAllocator& allocator) {
  Blocks<Guarded> blocks(expected.buffers, expected.before[0]);
  if (expected.buffers[0].use != Use::kRead || blocks[0].size() <= routine.skipped) return true;
  blocks[0][blocks[0].size() - 1 - routine.skipped] ^= 0x80;
  allocator.fill = kFills[0];
  routine.call(expected.numbers, blocks.starts());
  blocks[0][blocks[0].size() - 1 - routine.skipped] ^= 0x80;
  return !differenceOf(expected, 0, blocks).empty();
}

// How often the last byte of each written buffer was written.
void countLastBytes(const Expected& expected, std::vector<std::size_t>& written) {
  written.resize(expected.buffers.size());
  for (std::size_t k = 0; k < written.size(); ++k) {
    const auto is_kept = [&](int i) { return expected.after[i][k].back() == kFills[i]; };
    if (expected.buffers[k].use != Use::kWritten ||
        (expected.buffers[k].extent.bytes > 0 && !(is_kept(0) && is_kept(1))))
      ++written[k];
  }
}

void expectPlainForm(const Routine& routine, const std::vector<Numbers>& cases, bool in_one) {
  std::vector<Expected> all;
  for (const Numbers& numbers : cases)
    all.push_back(expectedOf(routine, numbers, static_cast<std::uint32_t>(all.size()) + 1));
  GuardedAllocator allocator;
  setTensorAllocator(&allocator);
  ForEachTarget([&] {
    std::size_t counts = 0;
    std::vector<std::size_t> written;
    for (const Expected& expected : all) {
      at_work = text(routine, expected.numbers);
      for (int i = 0; i < 2; ++i) {
        Blocks<Guarded> blocks(expected.buffers, expected.before[i]);
        allocator.fill = kFills[i];
        routine.call(expected.numbers, blocks.starts());
        ASSERT_EQ(differenceOf(expected, i, blocks), "") << at_work;
      }
      countLastBytes(expected, written);
      const bool last_counts = lastByteCounts(routine, expected, allocator);
      counts += last_counts ? 1 : 0;
      ASSERT_TRUE(last_counts || !routine.last_byte_counts)
          << at_work << ": nothing comes of the last byte that it is said to read";
    }
    EXPECT_TRUE(!in_one || counts > 0) << routine.name << ": the extents of sources are too long";
    for (const std::size_t count : written)
      EXPECT_TRUE(!in_one || count > 0) << routine.name << ": what is written ends earlier";
  });
  setTensorAllocator(nullptr);
}

// One test a routine.
class Routines : public testing::TestWithParam<std::size_t> {
 protected:
  const Routine& routine() const { return allRoutines()[GetParam()]; }
};

TEST_P(Routines, EqualThePlainFormAndKeepToTheirExtents) {
  const auto before = std::signal(SIGSEGV, nameCall);
  expectPlainForm(routine(), routine().cases, true);
  if (!HasFatalFailure()) expectPlainForm(routine(), routine().large, false);
  std::signal(SIGSEGV, before);
}

// Any access would crash. Of one there is nothing to be done for warps that need two rows and columns.
TEST_P(Routines, TouchNothingAtSizesBelowOne) {
  for (int side = 0; side < routine().sides; ++side)
    for (const int none : {1, 0, -1, -8, std::numeric_limits<int>::min()}) {
      Numbers numbers = routine().cases.back();
      numbers[static_cast<std::size_t>(side)] = none;
      const std::vector<Buffer> buffers = routine().buffers(numbers);
      // Sizes outside the contract have no extents. A toolkit writes tensors of frames without pixels.
      const auto empty = [](const Buffer& buffer) {
        return buffer.extent != Tarn::kNoExtent &&
               (buffer.use != Use::kWritten || buffer.extent.bytes == 0);
      };
      if (std::all_of(buffers.begin(), buffers.end(), empty))
        ForEachTarget([&] { routine().call(numbers, Memory(buffers.size(), nullptr)); });
    }
}

// Views without memory behind them: nothing may be touched.
Views nowhere(const std::vector<Buffer>& buffers) {
  Views views;
  for (const Buffer& buffer : buffers) {
    const std::size_t place = (views.size() + 1) << 40;
    const std::size_t bytes = std::max(buffer.asked, buffer.extent.end());
    // NOLINTNEXTLINE(performance-no-int-to-ptr): an address is all that is wanted
    views.push_back({reinterpret_cast<std::uint8_t*>(place), bytes});
  }
  return views;
}

TEST_P(Routines, CheckedFormsTakeExactBuffersAndRefuseLess) {
  if (!routine().checked) return;  // rectify_cropbox takes no buffer
  std::size_t taken = 0;
  for (std::size_t c = 0, next = 0; c < routine().cases.size(); ++c) {
    const Numbers& numbers = routine().cases[c];
    at_work = text(routine(), numbers);
    SCOPED_TRACE(at_work);
    const Expected expected = expectedOf(routine(), numbers, 5);
    const std::vector<Buffer>& buffers = expected.buffers;
    Blocks<Guarded> blocks(buffers, expected.before[0]);
    const std::string fault = FaultOf([&] { routine().checked(numbers, blocks.views()); });
    // Of what the contract allows only inverted rectangles are refused, for which the routine does
    // nothing. A part of a source has the other buffer where the checked form asks for the whole.
    const char* const why =
        buffers[0].extent.offset > 0 ? "the two must lie apart" : "must not be inverted";
    ASSERT_TRUE(fault.empty() || fault.find(why) != std::string::npos) << fault;
    if (!fault.empty()) continue;
    ++taken;
    ASSERT_EQ(differenceOf(expected, 0, blocks), "");
    // Refusals of a sample.
    if (c < next) continue;
    next = c + 1 + c / 10;

    const auto refused = [&](const Views& views, const Numbers& with, const std::string& words,
                             const std::string& last = {}) {
      const std::string sentence = FaultOf([&] { routine().checked(with, views); });
      EXPECT_NE(sentence.find(words), std::string::npos) << words << ": " << sentence;
      const std::size_t reason = sentence.find("; ");
      EXPECT_NE(reason, std::string::npos) << sentence;
      EXPECT_NE(sentence.find(last, reason), std::string::npos) << last << ": " << sentence;
    };
    const Views all = nowhere(buffers);
    for (std::size_t k = 0; k < buffers.size(); ++k) {
      const std::size_t asked = buffers[k].asked;
      const std::string name = buffers[k].name;
      if (asked == 0) continue;
      Views views = all;
      views[k].bytes = asked - 1;
      const std::string needed = " " + std::to_string(asked);
      refused(views, numbers, name + " holds " + std::to_string(asked - 1) + " bytes; ", needed);
      views[k] = {nullptr, asked};
      refused(views, numbers, name + " is null; ", needed);
      if (buffers[k].use == Use::kRead || buffers[k].extent.bytes == 0) continue;
      for (std::size_t other = 0; other < buffers.size(); ++other) {
        const Tarn::Extent of_other = buffers[other].extent;
        if (other == k || buffers[other].asked == 0 || of_other.bytes < 4) continue;
        // The first bytes written are among the last four of the other buffer, floats where they may be.
        const std::size_t last = (of_other.end() - 1) / sizeof(float) * sizeof(float);
        views[k] = {all[other].data + last - buffers[k].extent.offset, asked};
        refused(views, numbers, " overlaps ");
      }
    }
    for (int side = 0; side < routine().sides; ++side)
      for (const int none : {0, std::numeric_limits<int>::min()}) {
        Numbers with = numbers;
        with[static_cast<std::size_t>(side)] = none;
        refused(all, with, "must be");
      }
  }
  EXPECT_GT(taken, 0u);
}

std::string nameOf(const testing::TestParamInfo<std::size_t>& info) {
  return std::regex_replace(allRoutines()[info.param].name, std::regex("[^A-Za-z0-9_]+"), "_");
}
INSTANTIATE_TEST_SUITE_P(All, Routines, testing::Range(std::size_t{0}, allRoutines().size()), nameOf);

using Names = std::set<std::string>;

// The exported routines to which elements are given: by pointer, or by a record that points to them.
Names routinesWithBuffers() {
  Names found;
  for (const char* const library : {"tn_core", "tn_cnn", "tn_kits"}) {
    std::ifstream list(std::string(TN_SOURCE "/packaging/abi/") + library + ".symbols");
    EXPECT_TRUE(list) << library;
    // What a callback takes is not meant.
    const std::regex callback(R"(\([^()]*\*\)\([^()]*\))");
    const std::regex buffer(R"(\b(char|float|void)( const)?\*|\bTarnCPU::Mat\b|\b_TN_Image\b)");
    for (std::string symbol; std::getline(list, symbol);) {
      const std::size_t open = symbol.find('(');
      if (symbol.empty() || symbol[0] == '#' || open == std::string::npos) continue;
      const std::string arguments = std::regex_replace(symbol.substr(open), callback, "callback");
      if (std::regex_search(arguments, buffer)) found.insert(symbol.substr(0, open));
    }
  }
  EXPECT_GT(found.size(), 40u) << "the lists were not understood";
  return found;
}

// Text, files and single values have no extents. Copies of a record leave its elements alone, as the row
// of from_float_array shows.
// clang-format off
const char* const kWithoutRow[] = {
    "TarnCPU::KRNetLoader::LoadFile", "TarnCPU::KRNetLoader::LoadMemory", "TarnCPU::Mat::Mat",
    "TarnCPU::Mat::operator=", "TarnCPU::Mat::swap", "TarnCPU::TarnNetExtractor::extract",
    "TarnCPU::TarnNetExtractor::input", "Tarn::TarnKalmanFilterBoxTracker2D::predict",
    "Tarn::TarnKalmanFilterBoxTracker2D::track", "Tarn::TarnOneEuroFilterBoxTracker2D::predict",
    "Tarn::TarnOneEuroFilterBoxTracker2D::track", "Tarn::_LogError", "Tarn::_LogVerbose",
    "Tarn::frameView", "Tarn::setLogSink",
};
// clang-format on

TEST(Table, EveryExportedRoutineThatTakesABufferHasARow) {
  Names without = routinesWithBuffers(), with(std::begin(kWithoutRow), std::end(kWithoutRow));
  for (const Routine& routine : allRoutines())
    with.insert(routine.name.substr(0, routine.name.find(' ')));
  for (const std::string& name : with)
    EXPECT_EQ(without.erase(name), 1u) << name << " is not in the lists";
  for (const std::string& name : without) ADD_FAILURE() << name << " has no row";
}

}  // namespace
