// The warp command: variants, matrix and files, on pictures of values that blends keep whole.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/apps/tool_test_support.h"

namespace {

using tn_test::Npy;
using tn_test::parseNpy;
using tn_test::ToolResult;
using tn_test::ToolTest;

constexpr char kIdentity[] = " --matrix 1,0,0,0,1,0", kMirror[] = " --matrix -1,0,0,0,1,0";

class WarpCommand : public ToolTest {
 protected:
  // Of this side the identity and the mirror are exact.
  static constexpr int kSide = 32;

  cv::Mat makePicture(int type) const {
    cv::Mat picture(kSide, kSide, type);
    cv::RNG random(5);
    random.fill(picture, cv::RNG::UNIFORM, 0, 256);
    cv::imwrite(path("in.png"), picture);
    return picture;
  }

  cv::Mat warped(const std::string& arguments) const {
    const ToolResult result = tool("warp in.png out.png" + arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out + result.err, "");
    return cv::imread(path("out.png"), cv::IMREAD_UNCHANGED);
  }
};

bool isSame(const cv::Mat& a, const cv::Mat& b) {
  return a.size() == b.size() && a.type() == b.type() && cv::norm(a, b, cv::NORM_INF) == 0.0;
}

TEST_F(WarpCommand, EachVariantHasItsOwnBorder) {
  const cv::Mat picture = makePicture(CV_8UC3);
  cv::Mat black = picture.clone(), repeated = picture.clone(), mirrored;
  black.row(0).setTo(0);
  black.col(0).setTo(0);
  picture.row(kSide - 2).copyTo(repeated.row(kSide - 1));
  repeated.col(kSide - 2).copyTo(repeated.col(kSide - 1));
  cv::flip(picture, mirrored, 1);
  const struct {
    std::string arguments;
    cv::Mat expected;
  } cases[] = {
      {kIdentity, black},
      {std::string(kIdentity) + " --variant affine", black},
      {std::string(kIdentity) + " --variant optimized", black},
      {std::string(kIdentity) + " --variant sse", repeated},
      {std::string(" --variant sse-hwc") + kIdentity, picture},
      {std::string(kMirror) + " --variant sse-hwc", mirrored},
      {" --matrix=1,0,4,0,1,0", cv::Mat::zeros(kSide, kSide, CV_8UC3)},
  };
  for (const auto& c : cases) EXPECT_TRUE(isSame(warped(c.arguments), c.expected)) << c.arguments;
}

TEST_F(WarpCommand, GreyAndAlphaBecomeThreeColours) {
  cv::Mat expected;
  cv::cvtColor(makePicture(CV_8UC1), expected, cv::COLOR_GRAY2BGR);
  EXPECT_TRUE(isSame(warped(std::string(kIdentity) + " --variant sse-hwc"), expected));
  cv::cvtColor(makePicture(CV_8UC4), expected, cv::COLOR_BGRA2BGR);
  EXPECT_TRUE(isSame(warped(std::string(kIdentity) + " --variant sse-hwc"), expected));
}

// Half a pixel off the edge, affine_sse takes one and a half of the first pixel less half of the second.
TEST_F(WarpCommand, NumPyKeepsWhatPngRoundsAndClamps) {
  cv::Mat picture(kSide, kSide, CV_8UC3, cv::Scalar(0, 100, 255));
  picture.col(1).setTo(cv::Scalar(255, 101, 0));
  cv::imwrite(path("in.png"), picture);
  // Shifts by 3.5 and by 0.625 pixels.
  const std::string left = " --variant sse --matrix 1,0,-0.21875,0,1,0";
  const std::string part = " --variant sse-hwc --matrix 1,0,0.0390625,0,1,0";
  EXPECT_EQ(warped(left).at<cv::Vec3b>(5, 0), cv::Vec3b(0, 100, 255));
  EXPECT_EQ(warped(part).at<cv::Vec3b>(5, 0), cv::Vec3b(159, 101, 96));

  ASSERT_EQ(tool("warp in.png out.npy" + left).status, 0);
  const Npy npy = parseNpy(read("out.npy"));
  EXPECT_NE(npy.header.find("'shape': (3, 32, 32)"), std::string::npos) << npy.header;
  const float first[] = {382.5f, 99.5f, -127.5f};  // red, green, blue
  for (std::size_t q = 0; q < 3; ++q)
    EXPECT_EQ(npy.values[(q * kSide + 5) * kSide], first[q]) << "plane " << q;
  EXPECT_EQ(parseNpy(tool("warp - - <in.png" + left).out).values, npy.values);
}

TEST_F(WarpCommand, FaultsAreOneLineAndLeaveNoFile) {
  makePicture(CV_8UC3);
  cv::imwrite(path("thin.png"), cv::Mat(8, 1, CV_8UC3, cv::Scalar(1, 2, 3)));
  write("notes.txt", "These are notes.\n");
  expectRefused(
      "warp ",
      {{"nofile.png out.png --matrix 1,0,0,0,1,0", "nofile.png: cannot be read: No such file"},
       {"notes.txt out.png --matrix 1,0,0,0,1,0", "notes.txt: is neither PNG nor JPEG"},
       {"in.png in.png --matrix 1,0,0,0,1,0", "in.png: is the input"},
       {"in.png no/out.png --matrix 1,0,0,0,1,0", "no/out.png: cannot be written: No such file"},
       {"in.png out.png --matrix 1,0,nan,0,1,0", "--matrix: values must be finite"},
       {"in.png out.png --matrix 1,0,inf,0,1,0", "--matrix: values must be finite"},
       {"thin.png out.png --matrix 1,0,0,0,1,0 --variant sse",
        "thin.png: is 1x8, too small for this variant, which takes 2x2 and up"},
       {"thin.png out.png --matrix 1,0,0,0,1,0 --variant sse-hwc", "thin.png: is 1x8, too small"}});
  expectRefused("warp ",
                {{"in.png out.jpg --matrix 1,0,0,0,1,0", "'out.jpg' must end in .npy or .png"},
                 {"in.png out.png", "--matrix is required"},
                 {"in.png out.png --matrix 1,0,0,0,1"},
                 {"in.png out.png --matrix 1,0,0,0,1,0,0"},
                 {"in.png out.png --matrix 1,0,x,0,1,0"},
                 {"in.png out.png --matrix 1,0,0,0,1,0 --variant avx"},
                 {"in.png --matrix 1,0,0,0,1,0"}},
                2);
  const ToolResult thin = tool("warp thin.png out.png --matrix 1,0,0,0,1,0");
  EXPECT_EQ(thin.status, 0) << thin.err;
}

}  // namespace
