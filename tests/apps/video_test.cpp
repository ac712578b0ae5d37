// The reader on uncompressed files whose every sample is known.
#include <gtest/gtest.h>

#include "apps/support/failure.h"
#include "apps/video/next_picture.h"
#include "apps/video/video_reader.h"
#include "tests/apps/tool_test_support.h"

namespace {

using Tarn::YuvRange;
using Tarn::YuvStandard;
using tarnkit::VideoReader;
using tn_test::ToolTest;

class Video : public ToolTest {
 protected:
  // A YUV4MPEG2 file: the header's tags, and each frame's planes.
  void writeY4m(const std::string& tags, const std::vector<std::string>& frames) const {
    std::string content = "YUV4MPEG2 ";
    content.append(tags).append("\n");
    for (const std::string& planes : frames) content.append("FRAME\n").append(planes);
    write("raw.y4m", content);
  }
};

// Bytes 1, 2, 3 ... so that each sample can be told from the others.
std::string ramp(int first, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(first + i);
  return bytes;
}

std::string samplesOf(const _TN_Image& frame) {
  return std::string(static_cast<const char*>(frame.data),
                     static_cast<std::size_t>(frame.width * frame.height * 3 / 2));
}

TEST_F(Video, SamplesComeThroughUnchangedInBothRanges) {
  const std::string luma = ramp(0, 64), u = ramp(100, 16), v = ramp(200, 16);
  const std::string u_first = u + v, v_first = v + u;
  std::string expected = luma;
  for (std::size_t i = 0; i < 16; ++i) expected += {u[i], v[i]};
  struct Case {
    const char* tags;
    YuvRange range;
  };
  for (const Case& c : {Case{"W8 H8 F30000:1001 C420jpeg", YuvRange::kLimited},
                        Case{"W8 H8 F30000:1001 C420jpeg XCOLORRANGE=FULL", YuvRange::kFull}}) {
    SCOPED_TRACE(c.tags);
    writeY4m(c.tags, {luma + u_first, luma + v_first});
    VideoReader reader(path("raw.y4m"));
    EXPECT_EQ(reader.info().colour.range, c.range);
    EXPECT_EQ(reader.info().rate_num, 30000);
    EXPECT_EQ(reader.info().rate_den, 1001);
    _TN_Image frame;
    ASSERT_TRUE(reader.next(frame));
    EXPECT_EQ(frame.pix_fmt, TN_PIX_FMT_NV12);
    EXPECT_EQ(frame.orient, 0u);
    EXPECT_EQ(samplesOf(frame), expected);
    ASSERT_TRUE(reader.next(frame));
    EXPECT_EQ(samplesOf(frame).substr(64, 2), std::string({v[0], u[0]}));
    EXPECT_FALSE(reader.next(frame));
    EXPECT_FALSE(reader.next(frame));
  }
}

TEST_F(Video, OddSizesLoseTheirLastColumnAndRow) {
  const std::string luma = ramp(1, 35), u = ramp(101, 12), v = ramp(151, 12);
  writeY4m("W7 H5 F25:1 C420jpeg", {luma + u + v});
  VideoReader reader(path("raw.y4m"));
  _TN_Image frame;
  ASSERT_TRUE(reader.next(frame));
  EXPECT_EQ(frame.width, 6);
  EXPECT_EQ(frame.height, 4);
  std::string expected;
  for (std::size_t y = 0; y < 4; ++y) expected += luma.substr(7 * y, 6);
  for (std::size_t y = 0; y < 2; ++y)
    for (std::size_t x = 0; x < 3; ++x) expected += {u[4 * y + x], v[4 * y + x]};
  EXPECT_EQ(samplesOf(frame), expected);

  writeY4m("W1 H5 F25:1 C420jpeg", {ramp(1, 11)});
  // Opening leaves the first frame to whoever asks for it, so that its decoding can be timed.
  VideoReader narrow(path("raw.y4m"));
  EXPECT_THROW(narrow.info(), tarnkit::Failure);
}

TEST_F(Video, UntaggedColoursGoByTheNumberOfLines) {
  for (const int lines : {718, 720}) {
    writeY4m("W2 H" + std::to_string(lines) + " F25:1 C420jpeg",
             {std::string(static_cast<std::size_t>(3 * lines), 'a')});
    EXPECT_EQ(VideoReader(path("raw.y4m")).info().colour.standard,
              lines < 720 ? YuvStandard::kBt601 : YuvStandard::kBt709);
  }
}

TEST_F(Video, OtherSamplingsBecomeFourTwoZero) {
  // Grey without chroma, and full chroma that is flat: neither leaves room for a rounding choice.
  struct Case {
    const char* tags;
    std::string planes;
    char u, v;
    YuvRange range;
  };
  const Case cases[] = {{"W4 H4 F25:1 Cmono", ramp(16, 16), '\x80', '\x80', YuvRange::kFull},
                        {"W4 H4 F25:1 C444", ramp(16, 16) + std::string(16, 'u') + std::string(16, 'v'),
                         'u', 'v', YuvRange::kLimited}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.tags);
    writeY4m(c.tags, {c.planes});
    VideoReader reader(path("raw.y4m"));
    EXPECT_EQ(reader.info().colour.range, c.range);
    _TN_Image frame;
    ASSERT_TRUE(reader.next(frame));
    std::string expected = ramp(16, 16);
    for (int pair = 0; pair < 4; ++pair) expected += {c.u, c.v};
    EXPECT_EQ(samplesOf(frame), expected);
  }
}

// Answers: p a picture, w wants input, f a fault, e the end; the last one for ever.
struct Script {
  const char* answers;
  int packets;
  bool picture;
  std::int64_t faults;
};

TEST(NextPicture, EndsWhateverTheDecoderAnswers) {
  // A decoder of nothing but faults has 64 tries before each packet and after the last.
  static const Script scripts[] = {
      {"p", 0, true, 0},  {"wwp", 2, true, 0},  {"wffp", 1, true, 2},    {"we", 1, false, 0},
      {"w", 3, false, 0}, {"wfe", 1, false, 1}, {"f", 3, false, 4 * 64}, {"wf", 3, false, 3 * 64},
  };
  for (const Script& script : scripts) {
    SCOPED_TRACE(script.answers);
    const char* at = script.answers;
    int packets = script.packets;
    std::int64_t faults = 0;
    const auto ask = [&] {
      const char answer = at[1] == '\0' ? *at : *at++;
      return answer == 'p'   ? tarnkit::Answer::kPicture
             : answer == 'w' ? tarnkit::Answer::kWantsInput
             : answer == 'e' ? tarnkit::Answer::kEnd
                             : tarnkit::Answer::kFault;
    };
    EXPECT_EQ(tarnkit::nextPicture(
                  ask, [&] { return packets-- > 0; }, faults),
              script.picture);
    EXPECT_EQ(faults, script.faults);
  }
}

TEST_F(Video, ATruncatedFileGivesItsWholeFrames) {
  const std::string planes = ramp(0, 96);
  writeY4m("W8 H8 F25:1 C420jpeg", {planes, planes, planes.substr(0, 40)});
  VideoReader reader(path("raw.y4m"));
  _TN_Image frame;
  int count = 0;
  while (reader.next(frame)) ++count;
  EXPECT_EQ(count, 2);
}

}  // namespace
