// The reader on files whose every sample is known, and on what the writer made.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "apps/support/failure.h"
#include "apps/video/next_picture.h"
#include "apps/video/video_reader.h"
#include "apps/video/video_writer.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"

namespace {

using Tarn::YuvRange;
using Tarn::YuvStandard;
using tarnkit::VideoInfo;
using tarnkit::VideoReader;
using tarnkit::YuvColour;

struct Video {
  VideoInfo info;
  std::vector<std::string> frames;  // samples
  std::int64_t damaged = 0;
};

class VideoTest : public tn_test::ToolTest {
 protected:
  VideoTest() { av_log_set_level(AV_LOG_QUIET); }
  Video readVideo(const std::string& name) const {
    VideoReader reader(path(name));
    Video video = {reader.info(), {}, 0};
    for (_TN_Image frame; reader.next(frame);) {
      EXPECT_EQ(frame.pix_fmt, TN_PIX_FMT_NV12);
      EXPECT_EQ(frame.orient, 0u);
      EXPECT_EQ(frame.width, video.info.width);
      EXPECT_EQ(frame.height, video.info.height);
      video.frames.emplace_back(static_cast<const char*>(frame.data),
                                static_cast<std::size_t>(frame.width * frame.height * 3 / 2));
    }
    _TN_Image none;
    EXPECT_FALSE(reader.next(none)) << "the end stays the end";
    EXPECT_NO_THROW(reader.requireWhole());
    video.damaged = reader.damagedPackets();
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

auto factsOf(const VideoInfo& info) {
  return std::tuple(info.width, info.height, info.rate_num, info.rate_den, info.colour.standard,
                    info.colour.range);
}

// Bytes 1, 2, 3 ... so that each sample can be told from the others.
std::string ramp(int first, int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) bytes += static_cast<char>(first + i);
  return bytes;
}

// What is handed out of a 4:2:0 picture in three planes: without its last odd column and row.
std::string packed(const std::string& planes, std::size_t w, std::size_t h) {
  const std::size_t row = (w + 1) / 2, u = w * h, v = u + row * ((h + 1) / 2);
  std::string samples;
  for (std::size_t y = 0; y < h / 2 * 2; ++y) samples += planes.substr(y * w, w / 2 * 2);
  for (std::size_t y = 0; y < h / 2; ++y)
    for (std::size_t x = 0; x < w / 2; ++x)
      samples += {planes[u + y * row + x], planes[v + y * row + x]};
  return samples;
}

// Untagged colours go by the number of lines; rates have limits, and without one there is no length.
TEST_F(VideoTest, SamplesComeThroughUnchangedAndTagsAreRead) {
  constexpr YuvColour k601 = {YuvStandard::kBt601, YuvRange::kLimited};
  static constexpr struct {
    const char* tags;
    std::size_t w, h;
    VideoInfo info;
  } kCases[] = {
      {"F30000:1001", 8, 8, {8, 8, 30000, 1001, 2, k601}},
      {"F1:10 XCOLORRANGE=FULL", 7, 5, {6, 4, 1, 10, 2, {YuvStandard::kBt601, YuvRange::kFull}}},
      {"F1:11 XCOLORRANGE=LIMITED", 8, 7, {8, 6, 25, 1, 0, k601}},
      {"F1000:1", 2, 718, {2, 718, 1000, 1, 2, k601}},
      {"F1001:1", 2, 720, {2, 720, 25, 1, 0, {YuvStandard::kBt709, YuvRange::kLimited}}}};
  for (const auto& [tags, w, h, wanted] : kCases) {
    SCOPED_TRACE(tags);
    const std::size_t bytes = w * h + 2 * ((w + 1) / 2) * ((h + 1) / 2);
    const std::string planes = ramp(1, static_cast<int>(bytes)), others(bytes, 'a');
    // The third frame is cut off.
    const auto [info, frames, damaged] =
        readY4m("W" + std::to_string(w) + " H" + std::to_string(h) + " C420jpeg " + tags,
                {others, planes, planes.substr(1)});
    EXPECT_EQ(factsOf(info), factsOf(wanted));
    EXPECT_EQ(info.frames_expected, wanted.frames_expected);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[1], packed(planes, w, h));
  }
  // Opening leaves the first frame to whoever asks for it, so that its decoding can be timed.
  for (const std::string size : {"W1 H5", "W5 H1"}) {
    const auto read = [&] { readY4m(size + " F25:1 C420jpeg", {ramp(1, 11)}); };
    EXPECT_EQ(tn_test::FaultOf<tarnkit::Failure>(read),
              path("raw.y4m") + ": has frames smaller than 2x2 pixels");
  }
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

// No sample is converted before a tensor takes it, and odd sizes are whole; what the library has no
// format for comes packed.
TEST_F(VideoTest, ViewsAreTheDecodersOwnFrames) {
  using Tarn::ChromaSiting, Tarn::FrameFormat;
  static constexpr struct {
    const char* tags;
    std::size_t bytes;
    FrameFormat format;
    ChromaSiting siting;
    int width;
  } kCases[] = {{"W5 H4 C420jpeg", 20 + 12, FrameFormat::kI420, ChromaSiting::kCentre, 5},
                {"W5 H4 C420mpeg2", 20 + 12, FrameFormat::kI420, ChromaSiting::kLeft, 5},
                {"W4 H4 C422", 32, FrameFormat::kI422, ChromaSiting::kLeft, 4},
                {"W4 H4 C444", 48, FrameFormat::kI444, ChromaSiting::kLeft, 4},
                {"W4 H4 C420p10", 48, FrameFormat::kI010, ChromaSiting::kLeft, 4},
                {"W4 H4 Cmono", 16, FrameFormat::kGray, ChromaSiting::kLeft, 4},
                {"W5 H4 C411", 20 + 16, FrameFormat::kNv12, ChromaSiting::kLeft, 4}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.tags);
    const std::string samples = ramp(1, static_cast<int>(c.bytes));
    write("raw.y4m", std::string("YUV4MPEG2 ") + c.tags + " F25:1\nFRAME\n" + samples);
    VideoReader reader(path("raw.y4m"));
    _TN_Image frame;
    ASSERT_TRUE(reader.next(frame));
    const Tarn::FrameView view = reader.view();
    EXPECT_EQ(view.format, c.format);
    EXPECT_EQ(view.siting, c.siting);
    EXPECT_EQ(view.width, c.width);
    EXPECT_TRUE(view.matrix == Tarn::YuvMatrix::kBt601 || c.format == FrameFormat::kGray);
    const auto* const luma = static_cast<const char*>(view.planes[0]);
    EXPECT_EQ(std::string(luma, 4), samples.substr(0, 4));
    EXPECT_EQ(
        luma[view.strides[0]],
        samples[static_cast<std::size_t>(c.tags[1] - '0') * (c.format == FrameFormat::kI010 ? 2 : 1)]);
  }
}

// JPEG pictures in a file that holds words, too. They are full-range. Those of another size or format
// than the first become like it; what comes after them is as if they had not been, and one that is
// damaged is passed over.
TEST_F(VideoTest, FramesOfAnotherKindBecomeLikeTheFirst) {
  static constexpr struct {
    int width, height, type, luma, cb;
  } kFrames[] = {{32, 24, CV_8UC3, 0, 128},  {64, 64, CV_8UC3, 128, 128}, {32, 24, CV_8UC3, 255, 128},
                 {32, 24, CV_8UC1, 90, 128}, {32, 24, CV_8UC3, 29, 255},  {17, 9, CV_8UC3, 128, 128}};
  AVFormatContext* film = nullptr;
  ASSERT_GE(avformat_alloc_output_context2(&film, nullptr, "matroska", nullptr), 0);
  for (const AVCodecID codec : {AV_CODEC_ID_SUBRIP, AV_CODEC_ID_MJPEG}) {
    AVCodecParameters* const stream = avformat_new_stream(film, nullptr)->codecpar;
    stream->codec_id = codec;
    stream->codec_type = avcodec_get_type(codec);
    stream->width = 32;
    stream->height = 24;
  }
  ASSERT_GE(avio_open(&film->pb, path("film.mkv").c_str(), AVIO_FLAG_WRITE), 0);
  ASSERT_GE(avformat_write_header(film, nullptr), 0);
  int time = 0;
  const auto write_packet = [&](int stream, std::string bytes) {
    const auto packet = tarnkit::owned(av_packet_alloc());
    packet->data = reinterpret_cast<std::uint8_t*>(bytes.data());
    packet->size = static_cast<int>(bytes.size());
    packet->stream_index = stream;
    packet->pts = packet->dts = time += 40;
    packet->duration = 40;
    packet->flags = AV_PKT_FLAG_KEY;
    ASSERT_GE(av_write_frame(film, packet.get()), 0);
  };
  for (const auto& f : kFrames) {
    // The highest blue-difference sample is pure blue's.
    const cv::Scalar colour = f.cb == 255 ? cv::Scalar(255, 0, 0) : cv::Scalar::all(f.luma);
    cv::imwrite(path("frame.jpg"), cv::Mat(f.height, f.width, f.type, colour));
    write_packet(1, read("frame.jpg"));
    write_packet(0, "words");
  }
  write_packet(1, "no picture");
  av_write_trailer(film);
  avio_closep(&film->pb);
  avformat_free_context(film);

  const Video video = readVideo("film.mkv");
  EXPECT_EQ(video.damaged, 1);
  write("none.txt", "");
  EXPECT_NE(run("run film.mkv --detector mot:none.txt").find(", damaged packets passed over 1\n"),
            std::string::npos);
  EXPECT_EQ(factsOf(video.info), factsOf({32, 24, 25, 2, 0, {YuvStandard::kBt601, YuvRange::kFull}}));
  ASSERT_EQ(video.frames.size(), std::size(kFrames));
  for (std::size_t i = 0; i < video.frames.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(video.frames[i].substr(0, 32 * 24),
              std::string(32 * 24, static_cast<char>(kFrames[i].luma)));
    EXPECT_EQ(video.frames[i][32 * 24], static_cast<char>(kFrames[i].cb));
  }
}

// RGB has no samples of its own to keep: it is read as untagged, be it in pixels or in a palette.
TEST_F(VideoTest, RgbPicturesBecomeLimitedRange) {
  cv::imwrite(path("red.png"), cv::Mat(8, 8, CV_8UC3, cv::Scalar(0, 0, 255)));
  write("red.tga",
        std::string("\0\1\1\0\0\1\0\x18\0\0\0\0\x8\0\x8\0\x8\0\0\0\xFF", 21) + std::string(64, 0));
  for (const char* file : {"red.png", "red.tga"}) {
    const Video video = readVideo(file);
    EXPECT_EQ(video.info.colour.range, YuvRange::kLimited) << file;
    const std::string& samples = video.frames.at(0);
    EXPECT_NEAR(static_cast<unsigned char>(samples[0]), 16 + 0.299 * 219, 1) << file;
    EXPECT_NEAR(static_cast<unsigned char>(samples[64]), 128 - 0.5 * 0.299 / 0.886 * 224, 1) << file;
    EXPECT_NEAR(static_cast<unsigned char>(samples[65]), 240, 1) << file;
  }
}

// Size, rate, colour, every frame in order. Rows of the pictures are padded.
TEST_F(VideoTest, WrittenVideosSayWhatTheyAre) {
  static const struct {
    tarnkit::VideoInfo info;
    double red, blue;  // weights in luma
  } cases[] = {
      {{66, 50, 30000, 1001, 0, {YuvStandard::kBt709, YuvRange::kFull}}, 0.2126, 0.0722},
      {{64, 48, 5, 2, 0, {YuvStandard::kBt2020, YuvRange::kLimited}}, 0.2627, 0.0593},
      {{64, 720, 50, 1, 0, {YuvStandard::kBt601, YuvRange::kLimited}}, 0.299, 0.114},
  };
  for (const auto& [info, red, blue] : cases) {
    SCOPED_TRACE(info.width);
    tarnkit::VideoWriter writer(path("out.mp4"), info);
    cv::Mat wide(info.height, info.width + 20, CV_8UC3, cv::Scalar(255, 0, 0));
    cv::Mat picture = wide(cv::Rect(0, 0, info.width, info.height));
    constexpr int kFrames = 70;  // more than an encoder holds back
    for (int i = 0; i < kFrames; ++i) writer.write(picture.setTo(cv::Scalar(200, 2 * i, 250 - 3 * i)));
    writer.close();
    // Each at its time, in the order in which they are shown.
    AVFormatContext* file = nullptr;
    ASSERT_GE(avformat_open_input(&file, path("out.mp4").c_str(), nullptr, nullptr), 0);
    const auto packet = tarnkit::owned(av_packet_alloc());
    for (int i = 0; av_read_frame(file, packet.get()) >= 0; av_packet_unref(packet.get())) {
      EXPECT_EQ(packet->pts, packet->dts);
      EXPECT_EQ(packet->pts,
                av_rescale_q(i++, {info.rate_den, info.rate_num}, file->streams[0]->time_base));
    }
    avformat_close_input(&file);
    const Video video = readVideo("out.mp4");
    EXPECT_EQ(factsOf(video.info), factsOf(info));
    ASSERT_EQ(video.frames.size(), static_cast<std::size_t>(kFrames));
    for (std::size_t i = 0; i < video.frames.size(); ++i) {
      const double n = static_cast<double>(i);
      const double luma = red * (250 - 3 * n) + (1 - red - blue) * 2 * n + blue * 200;
      const std::string& samples = video.frames[i];
      for (const std::size_t at : {std::size_t{0}, samples.size() / 3 * 2 - 1})  // first and last luma
        EXPECT_NEAR(static_cast<unsigned char>(samples[at]),
                    info.colour.range == YuvRange::kFull ? luma : 16 + luma * 219 / 255, 3)
            << "frame " << i;
    }
  }
}

TEST(PictureConverter, AResultThatIsStillHeldStaysAsItIs) {
  tarnkit::PictureConverter converter({AV_PIX_FMT_GRAY8, 8, 8}, {AV_PIX_FMT_YUV420P, 8, 8}, {});
  std::vector<std::uint8_t> grey(64, 50);
  const std::uint8_t* const planes[4] = {grey.data(), nullptr, nullptr, nullptr};
  const int strides[4] = {8, 0, 0, 0};
  const auto held = tarnkit::owned(av_frame_clone(converter.convert(planes, strides)));
  const int before = held->data[0][0];
  grey.assign(64, 200);
  EXPECT_NE(converter.convert(planes, strides)->data[0][0], before);
  EXPECT_EQ(held->data[0][0], before);
}

// Answers of a decoder: p a picture, w wants input, f a fault, e the end; the last one for ever. One of
// nothing but faults has 64 tries before each packet and after the last.
TEST(NextPicture, EndsWhateverTheDecoderAnswers) {
  using tarnkit::Answer;
  const std::map<char, Answer> answers = {
      {'p', Answer::kPicture}, {'w', Answer::kWantsInput}, {'f', Answer::kFault}, {'e', Answer::kEnd}};
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
    const auto ask = [&] { return answers.at(at[1] == '\0' ? *at : *at++); };
    const auto feed = [&] { return packets-- > 0; };
    EXPECT_EQ(tarnkit::nextPicture(ask, feed, faults), script.picture) << script.answers;
    EXPECT_EQ(faults, script.faults) << script.answers;
  }
}

}  // namespace
