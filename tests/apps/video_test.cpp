// The reader on files whose every sample is known.
#include <gtest/gtest.h>

#include <map>
#include <opencv2/imgcodecs.hpp>

#include "apps/support/failure.h"
#include "apps/video/next_picture.h"
#include "apps/video/video_reader.h"
#include "tests/apps/tool_test_support.h"

namespace {

using Tarn::YuvRange;
using Tarn::YuvStandard;
using tarnkit::VideoReader;

struct Video {
  tarnkit::VideoInfo info;
  std::vector<std::string> frames;  // samples
};

class VideoTest : public tn_test::ToolTest {
 protected:
  Video readVideo(const std::string& name) const {
    VideoReader reader(path(name));
    Video video = {reader.info(), {}};
    for (_TN_Image frame; reader.next(frame);) {
      EXPECT_EQ(frame.pix_fmt, TN_PIX_FMT_NV12);
      EXPECT_EQ(frame.orient, 0u);
      EXPECT_EQ(frame.width, video.info.width);
      EXPECT_EQ(frame.height, video.info.height);
      video.frames.emplace_back(static_cast<const char*>(frame.data),
                                static_cast<std::size_t>(frame.width * frame.height * 3 / 2));
      EXPECT_GT(reader.frameBytes(), video.frames.back().size());
    }
    _TN_Image none;
    EXPECT_FALSE(reader.next(none)) << "the end stays the end";
    EXPECT_NO_THROW(reader.requireWhole());
    return video;
  }
  // The same of a YUV4MPEG2 file: the header's tags, and each frame's planes.
  Video readY4m(const std::string& tags, const std::vector<std::string>& frames) const {
    std::string content = "YUV4MPEG2 " + tags + "\n";
    for (const std::string& planes : frames) content += "FRAME\n" + planes;
    write("raw.y4m", content);
    return readVideo("raw.y4m");
  }
};

// Bytes 1, 2, 3 ... so that each sample can be told from the others.
std::string ramp(int first, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(first + i);
  return bytes;
}

TEST_F(VideoTest, SamplesComeThroughUnchangedInBothRanges) {
  const std::string luma = ramp(0, 64), u = ramp(100, 16), v = ramp(200, 16);
  const std::string chroma = u + v, swapped = v + u;
  std::string expected = luma;
  for (std::size_t i = 0; i < 16; ++i) expected += {u[i], v[i]};
  for (const char* range : {"", " XCOLORRANGE=FULL", " XCOLORRANGE=LIMITED"}) {
    SCOPED_TRACE(range);
    // The third frame is cut off.
    const Video video = readY4m(std::string("W8 H8 F30000:1001 C420jpeg") + range,
                                {luma + chroma, luma + swapped, luma});
    EXPECT_EQ(video.info.colour.range,
              range == std::string(" XCOLORRANGE=FULL") ? YuvRange::kFull : YuvRange::kLimited);
    EXPECT_EQ(video.info.rate_num, 30000);
    EXPECT_EQ(video.info.rate_den, 1001);
    ASSERT_EQ(video.frames.size(), 2u);
    EXPECT_EQ(video.frames[0], expected);
    EXPECT_EQ(video.frames[1].substr(64, 2), std::string({v[0], u[0]}));
  }
}

TEST_F(VideoTest, OddSizesLoseTheirLastColumnAndRow) {
  const std::string luma = ramp(1, 35), u = ramp(101, 12), v = ramp(151, 12);
  std::string expected;
  for (std::size_t y = 0; y < 4; ++y) expected += luma.substr(7 * y, 6);
  for (std::size_t y = 0; y < 2; ++y)
    for (std::size_t x = 0; x < 3; ++x) expected += {u[4 * y + x], v[4 * y + x]};
  const Video video = readY4m("W7 H5 F25:1 C420jpeg", {luma + u + v});
  EXPECT_EQ(video.info.width, 6);
  EXPECT_EQ(video.info.height, 4);
  EXPECT_EQ(video.frames.at(0), expected);
  // Opening leaves the first frame to whoever asks for it, so that its decoding can be timed.
  EXPECT_THROW(readY4m("W1 H5 F25:1 C420jpeg", {ramp(1, 11)}), tarnkit::Failure);
}

TEST_F(VideoTest, UntaggedColoursGoByTheNumberOfLines) {
  for (const std::size_t lines : {718u, 720u})
    EXPECT_EQ(readY4m("W2 H" + std::to_string(lines) + " F25:1 C420jpeg", {std::string(3 * lines, 'a')})
                  .info.colour.standard,
              lines < 720 ? YuvStandard::kBt601 : YuvStandard::kBt709);
}

TEST_F(VideoTest, OtherSamplingsBecomeFourTwoZero) {
  // Grey without chroma, and full chroma that is flat: neither leaves a choice of rounding.
  const struct {
    const char* sampling;
    std::string planes, chroma;
    YuvRange range;
  } cases[] = {{"mono", ramp(16, 16), "\x80\x80\x80\x80\x80\x80\x80\x80", YuvRange::kFull},
               {"444", ramp(16, 16) + std::string(16, 'u') + std::string(16, 'v'), "uvuvuvuv",
                YuvRange::kLimited}};
  for (const auto& c : cases) {
    const Video video = readY4m(std::string("W4 H4 F25:1 C") + c.sampling, {c.planes});
    EXPECT_EQ(video.info.colour.range, c.range) << c.sampling;
    EXPECT_EQ(video.frames.at(0), ramp(16, 16) + c.chroma) << c.sampling;
  }
}

// JPEG pictures are full-range. Those of another size than the first are scaled to it; what comes after
// them is as if they had not been.
TEST_F(VideoTest, FramesOfAnotherSizeAreScaledToTheFirst) {
  std::string film;
  static constexpr int kFrames[][3] = {{32, 24, 0}, {64, 64, 128}, {32, 24, 255}, {17, 9, 128}};
  for (const auto& [width, height, grey] : kFrames) {
    cv::imwrite(path("frame.jpg"), cv::Mat(height, width, CV_8UC3, cv::Scalar::all(grey)));
    film += read("frame.jpg");
  }
  write("film.mjpeg", film);
  const Video video = readVideo("film.mjpeg");
  EXPECT_EQ(video.info.colour.range, YuvRange::kFull);
  EXPECT_EQ(video.info.width, 32);
  EXPECT_EQ(video.info.height, 24);
  ASSERT_EQ(video.frames.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i)
    EXPECT_EQ(video.frames[i],
              std::string(32 * 24, static_cast<char>(kFrames[i][2])) + std::string(32 * 12, '\x80'))
        << i;
}

// Answers of a decoder: p a picture, w wants input, f a fault, e the end; the last one for ever. One of
// nothing but faults has 64 tries before each packet and after the last.
TEST(NextPicture, EndsWhateverTheDecoderAnswers) {
  using tarnkit::Answer;
  static const struct {
    const char* answers;
    int packets;
    bool picture;
    std::int64_t faults;
  } scripts[] = {{"p", 0, true, 0},       {"wwp", 2, true, 0},     {"wffp", 1, true, 2},
                 {"we", 1, false, 0},     {"w", 3, false, 0},      {"wfe", 1, false, 1},
                 {"f", 3, false, 4 * 64}, {"wf", 3, false, 3 * 64}};
  for (const auto& script : scripts) {
    const char* at = script.answers;
    int packets = script.packets;
    std::int64_t faults = 0;
    const auto ask = [&] {
      static const std::map<char, Answer> answers = {{'p', Answer::kPicture},
                                                     {'w', Answer::kWantsInput},
                                                     {'f', Answer::kFault},
                                                     {'e', Answer::kEnd}};
      return answers.at(at[1] == '\0' ? *at : *at++);
    };
    const auto feed = [&] { return packets-- > 0; };
    EXPECT_EQ(tarnkit::nextPicture(ask, feed, faults), script.picture) << script.answers;
    EXPECT_EQ(faults, script.faults) << script.answers;
  }
}

}  // namespace
