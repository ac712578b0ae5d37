// The convert command: files in and out, the order of its operations, and what it refuses.
#include <gtest/gtest.h>

#include <functional>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/apps/tool_test_support.h"

namespace {

using tn_test::ToolResult;
using tn_test::ToolTest;

class ConvertCommand : public ToolTest {
 protected:
  // Odd sides, and no two pixels, rows or colours alike.
  static constexpr int kWidth = 45, kHeight = 31;

  static cv::Mat makePicture(int type) {
    cv::Mat picture(kHeight, kWidth, type);
    cv::RNG random(7);
    random.fill(picture, cv::RNG::UNIFORM, 0, picture.depth() == CV_16U ? 65536 : 256);
    return picture;
  }

  cv::Mat readBack(const std::string& name) const {
    return cv::imread(path(name), cv::IMREAD_UNCHANGED);
  }
};

testing::AssertionResult isSame(const cv::Mat& actual, const cv::Mat& expected) {
  if (actual.size() != expected.size() || actual.type() != expected.type())
    return testing::AssertionFailure() << actual.size() << " of type " << actual.type() << ", not "
                                       << expected.size() << " of type " << expected.type();
  const double difference = cv::norm(actual, expected, cv::NORM_INF);
  if (difference != 0.0) return testing::AssertionFailure() << "off by up to " << difference;
  return testing::AssertionSuccess();
}

cv::Mat turned(const cv::Mat& picture, int code) {
  cv::Mat result;
  cv::rotate(picture, result, code);
  return result;
}

cv::Mat mirrored(const cv::Mat& picture, int axis) {
  cv::Mat result;
  cv::flip(picture, result, axis);
  return result;
}

cv::Mat stackedPlanes(const cv::Mat& bgr) {
  cv::Mat planes[3], stacked;
  cv::split(bgr, planes);
  cv::vconcat(std::vector<cv::Mat>{planes[2], planes[1], planes[0]}, stacked);
  return stacked;
}

TEST_F(ConvertCommand, DoesItsOperationsInTheOrderGiven) {
  const cv::Mat bgr = makePicture(CV_8UC3);
  const cv::Rect part(3, 2, 20, 11);
  cv::imwrite(path("in.png"), bgr);
  const cv::Mat clockwise = turned(bgr, cv::ROTATE_90_CLOCKWISE);
  const struct {
    const char* arguments;
    cv::Mat expected;
  } cases[] = {
      {"in.png out.png", bgr},
      {"in.png out.png --to rgb", bgr},
      {"in.png out.png --rotate 90", clockwise},
      {"in.png out.png --rotate -90", turned(bgr, cv::ROTATE_90_COUNTERCLOCKWISE)},
      {"--rotate=-90 --rotate=90 in.png out.png", bgr},
      {"in.png out.png --rotate 90 --rotate 90", turned(bgr, cv::ROTATE_180)},
      {"in.png out.png --flip h", mirrored(bgr, 1)},
      {"in.png out.png --flip v", mirrored(bgr, 0)},
      {"--cut 3,2,20,11 in.png out.png --rotate 90", turned(bgr(part), cv::ROTATE_90_CLOCKWISE)},
      {"in.png out.png --rotate 90 --cut 3,2,20,11", clockwise(part)},
      {"--flip h in.png --rotate 90 out.png --flip v",
       mirrored(turned(mirrored(bgr, 1), cv::ROTATE_90_CLOCKWISE), 0)},
      {"in.png out.png --to planar", stackedPlanes(bgr)},
      {"in.png out.png --to planar --rotate 90 --cut 3,2,20,11", stackedPlanes(clockwise(part))},
      {"in.png out.png --to planar --flip v --to rgb", mirrored(bgr, 0)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ToolResult result = tool(std::string("convert ") + c.arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_TRUE(isSame(readBack("out.png"), c.expected));
  }
}

TEST_F(ConvertCommand, KeepsGreyAndAlphaAndRoundsDeepSamples) {
  const cv::Mat gray = makePicture(CV_8UC1), bgra = makePicture(CV_8UC4), deep = makePicture(CV_16UC3);
  cv::Mat bgr, gray_bgr, shallow;
  cv::cvtColor(bgra, bgr, cv::COLOR_BGRA2BGR);
  cv::cvtColor(gray, gray_bgr, cv::COLOR_GRAY2BGR);
  deep.convertTo(shallow, CV_8U, 1.0 / 257.0);
  const struct {
    const char* options;
    cv::Mat input, expected;
  } cases[] = {
      {"", gray, gray},
      {"--to gray", gray, gray},
      {"--to rgb", gray, gray_bgr},
      {"--to planar", gray, stackedPlanes(gray_bgr)},
      {"--rotate 90", gray, turned(gray, cv::ROTATE_90_CLOCKWISE)},
      {"", bgra, bgra},
      {"--to rgb", bgra, bgr},
      {"--to planar", bgra, stackedPlanes(bgr)},
      {"--rotate -90", bgra, turned(bgra, cv::ROTATE_90_COUNTERCLOCKWISE)},
      {"", deep, shallow},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.options << ", input type " << c.input.type());
    cv::imwrite(path("in.png"), c.input);
    ASSERT_EQ(tool(std::string("convert in.png out.png ") + c.options).status, 0);
    EXPECT_TRUE(isSame(readBack("out.png"), c.expected));
  }
}

TEST_F(ConvertCommand, ReadsJpegUprightAndFromStandardInput) {
  cv::imwrite(path("in.jpg"), makePicture(CV_8UC3));
  const cv::Mat decoded = cv::imread(path("in.jpg"));
  write("turned.jpg", tn_test::jpegWithOrientation(read("in.jpg"), 6));
  const struct {
    const char* arguments;
    cv::Mat expected;
  } cases[] = {
      {"convert in.jpg out.png", decoded},
      {"convert - out.png <in.jpg", decoded},
      {"convert turned.jpg out.png", turned(decoded, cv::ROTATE_90_CLOCKWISE)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.arguments);
    const ToolResult result = tool(c.arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(isSame(readBack("out.png"), c.expected));
  }
  const ToolResult piped = tool("convert in.jpg -");
  const std::vector<unsigned char> bytes(piped.out.begin(), piped.out.end());
  EXPECT_TRUE(isSame(cv::imdecode(bytes, cv::IMREAD_UNCHANGED), decoded));
}

TEST_F(ConvertCommand, ReadsRawFramesOfTheFormatGiven) {
  // Upper half: Y 100, U 140, V 112. Lower half: Y 50, U 120, V 144.
  const std::string luma = std::string(16, 100) + std::string(16, 50);
  const std::string u = std::string(4, '\x8C') + std::string(4, 120);
  const std::string v = std::string(4, 112) + std::string(4, '\x90');
  std::string uv, vu;
  for (std::size_t i = 0; i < u.size(); ++i) {
    uv += {u[i], v[i]};
    vu += {v[i], u[i]};
  }
  const struct {
    const char* format;
    std::string chroma;
  } cases[] = {{"nv12", uv}, {"nv21", vu}, {"i420", u + v}};
  cv::Mat expected(4, 8, CV_8UC3, cv::Scalar(121, 107, 77));
  expected.rowRange(2, 4).setTo(cv::Scalar(35, 41, 72));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    write("in.yuv", luma + c.chroma);
    const ToolResult result =
        tool(std::string("convert in.yuv out.png --frame 8x4 --format ") + c.format);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(isSame(readBack("out.png"), expected));
  }
}

TEST_F(ConvertCommand, FaultsAreOneLineAndLeaveNoFile) {
  cv::imwrite(path("in.png"), makePicture(CV_8UC3));
  cv::imwrite(path("in.jpg"), makePicture(CV_8UC3));
  const std::string png = read("in.png"), jpeg = read("in.jpg");
  write("short.png", png.substr(0, png.size() / 2));
  std::string damaged = png;
  damaged[png.size() / 2] = static_cast<char>(~damaged[png.size() / 2]);
  write("damaged.png", damaged);
  write("short.jpg", jpeg.substr(0, jpeg.size() - 100));
  write("head.jpg", jpeg.substr(0, 20));
  write("no_picture.jpg", "\xFF\xD8\xFF\xD9");
  write("empty.png", "");
  write("notes.txt", "These are notes.\n");
  write("in.yuv", std::string(8 * 6 * 3 / 2, 'y'));
  expectRefused(
      "convert ",
      {
          {"nofile.png out", "nofile.png: cannot be read: No such file or directory"},
          {". out", ".: cannot be read: Is a directory"},
          {"notes.txt out", "notes.txt: is neither PNG nor JPEG"},
          {"empty.png out", "empty.png: is neither PNG nor JPEG"},
          {"- out <notes.txt", "standard input: is neither PNG nor JPEG"},
          {"short.png out", "short.png: is damaged"},
          {"damaged.png out", "damaged.png: is damaged"},
          {"short.jpg out", "short.jpg: is cut short"},
          {"head.jpg out", "head.jpg: is cut short"},
          {"no_picture.jpg out", "no_picture.jpg: is damaged"},
          {"in.png in.png", "in.png: is the input"},
          {"in.png no/where", "no/where: cannot be written: No such file"},
          {"in.png out --cut 40,0,6,4",
           "--cut: 40,0,6,4: is not inside the picture, which is 45x31 at that point"},
          {"in.png out --cut 0,0,0,4", "--cut: 0,0,0,4: is not inside"},
          {"in.png out --cut=-1,0,4,4", "--cut: -1,0,4,4: is not inside"},
          {"in.png out --rotate 90 --cut 0,0,45,31", "which is 31x45 at that point"},
          {"in.yuv out --format nv12 --frame 8x8",
           "in.yuv: has only 72 of the 96 bytes of one frame of 8x8"},
          {"in.yuv out --format i420 --frame 8x4",
           "in.yuv: has more than the 48 bytes of one frame of 8x4"},
          {"nofile.yuv out --format i420 --frame 8x4", "nofile.yuv: cannot be read: No such file"},
          {"in.yuv out --format nv21 --frame 7x6", "--frame: 7x6: width and height must be even"},
          {"in.yuv out --format nv21 --frame 8x0", "--frame: 8x0: width and height must be from 1 to"},
          {"in.yuv out --format nv21 --frame 99998x2",
           "--frame: 99998x2: width and height must be from"},
      });
}

TEST_F(ConvertCommand, WrongUsageIsStatusTwo) {
  expectRefused("convert ",
                {
                    {""},
                    {"in.png"},
                    {"in.png out.png more.png"},
                    {"in.png out.png --to hsv"},
                    {"in.png out.png --rotate 180"},
                    {"in.png out.png --flip"},
                    {"in.png out.png --cut 1,2,3"},
                    {"in.png out.png --cut 1,2,3,4,5"},
                    {"in.png out.png --cut 1,2,3,4x"},
                    {"in.png out.png --cut 1,2,,4"},
                    {"in.png out.png --cut 1,2,3,99999999999"},
                    {"in.yuv out.png --format nv12"},
                    {"in.yuv out.png --frame 8x4"},
                    {"in.yuv out.png --format yuyv --frame 8x4"},
                },
                2);
}

}  // namespace
