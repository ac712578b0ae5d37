// How far the routines reach whose buffers have no extents: text, model files, tensors that a network
// takes, and single boxes. Each buffer lies between unreadable pages and must come out as it went in.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/log_lines.h"
#include "tests/support/test_support.h"
#include "tn_boxtracker.h"
#include "tn_cnn.h"
#include "tn_core.h"

namespace {

using namespace TarnCPU;
using tn_test::ForEachTarget;
using tn_test::Guarded;

using Bytes = std::vector<char>;

// Calls with a guarded copy of the bytes.
template <class Call>
void expectOnlyRead(const Bytes& bytes, const Call& call) {
  ForEachTarget([&] {
    Guarded copy(bytes.size());
    std::memcpy(copy.data(), bytes.data(), bytes.size());
    call(reinterpret_cast<char*>(copy.data()), copy.size());
    EXPECT_EQ(std::memcmp(copy.data(), bytes.data(), bytes.size()), 0);
  });
}

Bytes zeroEnded(const std::string& text) { return {text.c_str(), text.c_str() + text.size() + 1}; }

Bytes model() {
  std::ifstream file(TN_SOURCE "/tests/data/small.onnx", std::ios::binary);
  EXPECT_TRUE(file);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(OtherReach, TextAndFilesAreReadToTheirEnd) {
  const tn_test::LogLines quiet;
  expectOnlyRead(zeroEnded("none.onnx"), [](const char* path, std::size_t) {
    EXPECT_FALSE(KRNetLoader().LoadFile(path, false));
  });
  for (const auto log : {Tarn::_LogError, Tarn::_LogVerbose}) {
    expectOnlyRead(zeroEnded("tag"), [&](const char* tag, std::size_t) { log(tag, "%d of these", 7); });
    expectOnlyRead(zeroEnded("%d of these"),
                   [&](const char* text, std::size_t) { log("tag", text, 7); });
  }
  const Bytes whole = model();
  for (const std::size_t bytes : {whole.size(), whole.size() / 2})
    expectOnlyRead(Bytes(whole.data(), whole.data() + bytes), [](const char* data, std::size_t size) {
      KRNetLoader().LoadMemory(data, size, false);
    });
}

Mat view(void* data, int side, int c) {
  return Mat::from_float_array(static_cast<float*>(data), side, side, c, TensorShape::CHW, nullptr);
}

// What extract gives is its own memory; the view that it replaces stays as it is. The second size fails.
TEST(OtherReach, NetworksReadTheirInput) {
  const tn_test::LogLines quiet;
  const Bytes bytes = model();
  KRNetLoader loader;
  loader.LoadMemory(bytes.data(), bytes.size(), false);
  const auto net = std::make_shared<TarnNet>();
  net->load_tarn_net_with_inference_config(loader, nullptr);
  for (const int side : {6, 9})
    expectOnlyRead(Bytes(static_cast<std::size_t>(12 * side * side), 1), [&](char* input, std::size_t) {
      expectOnlyRead(Bytes(4), [&](char* old, std::size_t) {
        TarnNetExtractor extractor = net->create_extractor();
        extractor.set_num_threads(1);
        extractor.input(0, view(input, side, 3));
        Mat out = view(old, 1, 1);
        extractor.extract(extractor.get_last_layer_index(), out);
      });
    });
}

template <class Tracker>
void expectBoxesAlone() {
  for (const auto step : {&Tracker::track, &Tracker::predict}) {
    Guarded x(4), y(4), w(4), h(4);
    Tracker tracker(640, 480);
    tracker.init(0.5f, 0.5f, 0.1f, 0.2f);
    (tracker.*step)(x.floats(), y.floats(), w.floats(), h.floats());
  }
}

TEST(OtherReach, TrackersOfOneBoxTouchFourFloats) {
  ForEachTarget([] {
    expectBoxesAlone<Tarn::TarnKalmanFilterBoxTracker2D>();
    expectBoxesAlone<Tarn::TarnOneEuroFilterBoxTracker2D>();
  });
}

}  // namespace
