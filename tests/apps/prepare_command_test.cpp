// The prepare command: pictures stored in any orientation, raw frames, crops, and what it refuses.
#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>

#include "tests/apps/tool_test_support.h"
#include "tests/reference/networkinput_reference.h"

namespace {

using tn_reference::CropWindow;
using tn_test::ToolResult;
using tn_test::ToolTest;

class PrepareCommand : public ToolTest {
 protected:
  static std::string randomBytes(std::size_t count) {
    std::mt19937 random(5);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() >> 24);
    return bytes;
  }

  // No two pixels, rows or colours alike.
  static cv::Mat makePicture(int width, int height, int type) {
    cv::Mat picture(height, width, type);
    cv::RNG random(7);
    random.fill(picture, cv::RNG::UNIFORM, 0, 256);
    return picture;
  }
};

// The orientations that cameras write into their pictures, 1 to 8: how the stored picture comes from the
// upright one, and the bits that undo it.
const struct {
  int exif;
  void (*store)(const cv::Mat& upright, cv::Mat& stored);
  int orient;
} kStored[] = {
    {1, [](const cv::Mat& upright, cv::Mat& stored) { upright.copyTo(stored); }, 0},
    {2, [](const cv::Mat& upright, cv::Mat& stored) { cv::flip(upright, stored, 1); }, 16},
    {3, [](const cv::Mat& upright, cv::Mat& stored) { cv::flip(upright, stored, -1); }, 4},
    {3, [](const cv::Mat& upright, cv::Mat& stored) { cv::flip(upright, stored, -1); }, 64},
    {4, [](const cv::Mat& upright, cv::Mat& stored) { cv::flip(upright, stored, 0); }, 8},
    {5, [](const cv::Mat& upright, cv::Mat& stored) { cv::transpose(upright, stored); }, 2 + 16},
    {6,
     [](const cv::Mat& upright, cv::Mat& stored) {
       cv::rotate(upright, stored, cv::ROTATE_90_COUNTERCLOCKWISE);
     },
     2},
    {7,
     [](const cv::Mat& upright, cv::Mat& stored) {
       cv::transpose(upright, stored);
       cv::flip(stored, stored, -1);
     },
     2 + 8},
    {8,
     [](const cv::Mat& upright, cv::Mat& stored) {
       cv::rotate(upright, stored, cv::ROTATE_90_CLOCKWISE);
     },
     1},
};

TEST_F(PrepareCommand, PhotographsOfEveryOrientationComeUpright) {
  const cv::Mat photograph = cv::imread(TN_TEST_PHOTOGRAPH);
  ASSERT_FALSE(photograph.empty());
  for (const int type : {CV_8UC1, CV_8UC3, CV_8UC4}) {
    cv::Mat upright = photograph(cv::Rect(300, 60, 480, 480)).clone();
    if (type == CV_8UC1) cv::cvtColor(upright, upright, cv::COLOR_BGR2GRAY);
    // Noise for alpha would show in any colour that took it.
    if (type == CV_8UC4) cv::merge(std::vector{upright, makePicture(480, 480, CV_8UC1)}, upright);
    cv::Mat expected = upright;
    if (type != CV_8UC3)
      cv::cvtColor(upright, expected, type == CV_8UC1 ? cv::COLOR_GRAY2BGR : cv::COLOR_BGRA2BGR);
    for (const auto& k : kStored) {
      if (type == CV_8UC1 && k.exif != 6) continue;  // becomes RGB before it is prepared
      SCOPED_TRACE(testing::Message() << "orientation " << k.exif << ", type " << type);
      cv::Mat stored;
      k.store(upright, stored);
      cv::imwrite(path("in.png"), stored);
      const ToolResult result =
          tool("prepare in.png -o out.png --size 480x480 --orient " + std::to_string(k.orient));
      ASSERT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(result.out + result.err, "");
      const cv::Mat actual = cv::imread(path("out.png"), cv::IMREAD_UNCHANGED);
      ASSERT_TRUE(actual.size() == expected.size() && actual.type() == CV_8UC3);
      EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0.0);
    }
  }
}

// What the camera noted turns nothing of itself: the same bits as for a PNG give the picture that OpenCV
// turns by the note, and crops count in stored pixels.
TEST_F(PrepareCommand, JpegPicturesAreTakenAsStored) {
  for (const auto& k : kStored) {
    SCOPED_TRACE(testing::Message() << "orientation " << k.exif << ", bits " << k.orient);
    cv::imwrite(path("plain.jpg"), makePicture(48, 48, CV_8UC3));
    write("in.jpg", tn_test::jpegWithOrientation(read("plain.jpg"), static_cast<char>(k.exif)));
    const ToolResult result =
        tool("prepare in.jpg -o out.png --size 48x48 --orient " + std::to_string(k.orient));
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(cv::norm(cv::imread(path("out.png")), cv::imread(path("in.jpg")), cv::NORM_INF), 0.0);
  }
  cv::imwrite(path("plain.jpg"), makePicture(30, 22, CV_8UC3));
  write("in.jpg", tn_test::jpegWithOrientation(read("plain.jpg"), 6));
  ASSERT_EQ(tool("prepare in.jpg -o out.png --size 18x16 --crop 10,2,27,17").status, 0);
  const cv::Mat expected = cv::imread(path("plain.jpg"))(cv::Rect(10, 2, 18, 16));
  EXPECT_EQ(cv::norm(cv::imread(path("out.png")), expected, cv::NORM_INF), 0.0);
}

TEST_F(PrepareCommand, GivesTheLibrarysFloats) {
  static const CropWindow inside = {3, 2, 20, 17, false}, grey = {-6, 4, 30, 40, true},
                          black = {-6, 4, 30, 40, false};
  static const struct {
    const char* arguments;
    int format, width, height;
    unsigned orient;
    bool to_bgr;
    const CropWindow* crop;
  } cases[] = {
      {"--size 24x16", TN_PIX_FMT_RGB, 24, 16, 0, false, nullptr},
      {"--size 17x9 --order bgr --orient 20", TN_PIX_FMT_RGB, 17, 9, 20, true, nullptr},
      {"--size 16x16 --orient 3", TN_PIX_FMT_RGBA, 16, 16, 3, false, nullptr},
      {"--size 20x12 --crop 3,2,20,17", TN_PIX_FMT_RGBA, 20, 12, 0, false, &inside},
      {"--size 20x12 --crop=-6,4,30,40 --pad grey", TN_PIX_FMT_RGB, 20, 12, 0, false, &grey},
      {"--size 20x12 --crop=-6,4,30,40 --pad black", TN_PIX_FMT_RGB, 20, 12, 0, false, &black},
      {"--size 20x20 --orient 3 --format nv12", TN_PIX_FMT_NV12, 20, 20, 3, false, nullptr},
      {"--size 24x10 --order rgb --format nv21", TN_PIX_FMT_NV21, 24, 10, 0, false, nullptr},
      {"--size 24x10 --order bgr --format i420", TN_PIX_FMT_YUVI420, 24, 10, 0, true, nullptr},
      {"--size 20x12 --format i420 --crop=-6,4,30,40", TN_PIX_FMT_YUVI420, 20, 12, 0, false, &black},
      {"--size 20x12 --format nv12 --crop 3,2,20,17", TN_PIX_FMT_NV12, 20, 12, 0, false, &inside},
  };
  constexpr int kWidth = 30, kHeight = 22;
  for (const auto& k : cases) {
    SCOPED_TRACE(k.arguments);
    const bool yuv =
        k.format < TN_PIX_FMT_BGRA || k.format == TN_PIX_FMT_NV12 || k.format == TN_PIX_FMT_NV21;
    std::string bytes;
    if (yuv) {
      bytes = randomBytes(kWidth * kHeight * 3 / 2);
      write("in.yuv", bytes);
    } else {
      const bool alpha = k.format == TN_PIX_FMT_RGBA;
      cv::Mat picture = makePicture(kWidth, kHeight, alpha ? CV_8UC4 : CV_8UC3);
      cv::imwrite(path("in.png"), picture);
      cv::cvtColor(picture, picture, alpha ? cv::COLOR_BGRA2RGBA : cv::COLOR_BGR2RGB);
      bytes.assign(picture.data, picture.data + picture.total() * picture.elemSize());
    }
    const std::string input = yuv ? "in.yuv --frame 30x22" : "in.png";
    const ToolResult result = tool("prepare -o out.npy " + input + " " + k.arguments);
    ASSERT_EQ(result.status, 0) << result.err;
    const _TN_Image image = {k.orient, k.format, kWidth, kHeight, 0, bytes.data()};
    const tn_test::Npy npy = tn_test::parseNpy(read("out.npy"));
    EXPECT_NE(npy.header.find("'shape': (3, " + std::to_string(k.height) + ", " +
                              std::to_string(k.width) + ")"),
              std::string::npos)
        << npy.header;
    EXPECT_EQ(npy.values, tn_reference::networkInput(image, k.to_bgr, k.width, k.height, k.crop, 0));
  }
}

TEST_F(PrepareCommand, TheFirstPlaneIsRedInAPngAndStandardOutputIsNumPy) {
  cv::imwrite(path("in.png"), cv::Mat(8, 8, CV_8UC3, cv::Scalar(10, 20, 30)));
  ASSERT_EQ(tool("prepare in.png -o out.png --size 4x4 --order bgr").status, 0);
  EXPECT_EQ(cv::imread(path("out.png")).at<cv::Vec3b>(2, 2), cv::Vec3b(30, 20, 10));
  const ToolResult piped = tool("prepare - -o - --size 1x1 <in.png");
  EXPECT_EQ(tn_test::parseNpy(piped.out).values, std::vector<float>({30, 20, 10}));
}

TEST_F(PrepareCommand, FaultsAreOneLineAndLeaveNoFile) {
  cv::imwrite(path("in.png"), makePicture(12, 10, CV_8UC3));
  write("in.yuv", std::string(8 * 6 * 3 / 2, 'y'));
  expectRefused(
      "prepare ",
      {
          {"nofile.png -o out.npy --size 8x8", "nofile.png: cannot be read: No such file or directory"},
          {"in.yuv -o out.npy --size 8x8", "in.yuv: is neither PNG nor JPEG"},
          {"in.yuv -o out.npy --size 8x8 --format nv12 --frame 8x8",
           "in.yuv: has only 72 of the 96 bytes of one frame of 8x8"},
          {"in.png -o in.png --size 8x8", "in.png: is the input"},
          {"in.png -o no/where.npy --size 8x8", "no/where.npy: cannot be written: No such file"},
          {"in.png -o out.npy --size 0x8", "--size: 0x8: width and height must be from 1 to"},
          {"in.png -o out.npy --size 8x9000", "--size: 8x9000: width and height must be from 1 to"},
          {"in.png -o out.npy --size 16x12 --orient 2", "--size: 16x12: must be a square"},
          {"in.png -o out.npy --size 18x18 --orient 1", "--size: 18x18: must be a square"},
          {"in.yuv -o out.npy --size 16x12 --orient 64 --format i420 --frame 8x6",
           "--size: 16x12: must be a square"},
          {"in.png -o out.npy --size 8x8 --orient 32", "--orient: 32: has bits that mean nothing"},
          {"in.png -o out.npy --size 8x8 --crop 5,5,4,9", "--crop: 5,5,4,9: has no pixels"},
      });
}

TEST_F(PrepareCommand, WrongUsageIsStatusTwo) {
  expectRefused("prepare ",
                {
                    {"in.png -o out.npy"},
                    {"in.png -o out.jpg --size 8x8"},
                    {"in.png -o out.npy --size 8x8 --orient=-1"},
                    {"in.png -o out.npy --size 8x8 --order grb"},
                    {"in.png -o out.npy --size 8x8 --crop 1,2,3"},
                    {"in.png -o out.npy --size 8x8 --pad grey"},
                },
                2);
}

}  // namespace
