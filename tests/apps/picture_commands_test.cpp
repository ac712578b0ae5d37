// convert, warp, prepare and tensor: what comes out, pixel by pixel. The arithmetic is tested with the
// library and in parts_test.cpp; here it is files, options and their order.
#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "apps/pictures/operations.h"
#include "apps/pictures/raw_frame.h"
#include "apps/tensor/tensor_file.h"
#include "tests/apps/tool_test_support.h"
#include "tests/reference/networkinput_reference.h"
#include "tn_checked.h"

namespace {

using tn_reference::CropWindow;
using tn_test::parseNpy;

// No two pixels, rows or colours alike.
cv::Mat noise(int width, int height, int type) {
  cv::Mat picture(height, width, type);
  cv::RNG random(7);
  random.fill(picture, cv::RNG::UNIFORM, 0, picture.depth() == CV_16U ? 65536 : 256);
  return picture;
}

// axis: 1 swaps left and right, 0 top and bottom, -1 both; of a transposed picture this is a turn.
cv::Mat mirrored(const cv::Mat& picture, int axis) {
  cv::Mat result;
  cv::flip(picture, result, axis);
  return result;
}

cv::Mat recoloured(const cv::Mat& picture, int code) {
  cv::Mat result;
  cv::cvtColor(picture, result, code);
  return result;
}

// Planes of red, green and blue below one another.
cv::Mat stackedPlanes(const cv::Mat& bgr) {
  cv::Mat planes[3], stacked;
  cv::split(bgr, planes);
  cv::vconcat(std::vector<cv::Mat>{planes[2], planes[1], planes[0]}, stacked);
  return stacked;
}

class PictureCommands : public tn_test::ToolTest {
 protected:
  // Odd sides.
  const cv::Mat bgr_ = noise(45, 31, CV_8UC3);

  void expectMade(const std::string& command, const cv::Mat& expected) const {
    SCOPED_TRACE(command);
    EXPECT_EQ(run(command), "");
    const cv::Mat actual = cv::imread(path("out.png"), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(actual.size(), expected.size());
    ASSERT_EQ(actual.type(), expected.type());
    EXPECT_EQ(cv::norm(actual, expected, cv::NORM_INF), 0.0);
  }
};

TEST_F(PictureCommands, ConvertDoesItsOperationsInTheOrderGiven) {
  const cv::Rect part(3, 2, 20, 11);
  const cv::Mat clockwise = mirrored(bgr_.t(), 1);
  cv::imwrite(path("in.png"), bgr_);
  expectMade("convert in.png out.png", bgr_);
  const cv::Mat rgb = recoloured(bgr_, cv::COLOR_BGR2RGB);
  const tarnkit::Picture grey =
      tarnkit::toGray({45, 31, tarnkit::PixelLayout::kRgb, {rgb.datastart, rgb.dataend}});
  expectMade("convert in.png out.png --to gray", cv::Mat(grey.bytes).reshape(1, 31));
  expectMade("convert --rotate=-90 in.png out.png", mirrored(bgr_.t(), 0));
  expectMade("convert in.png out.png --rotate 90 --rotate 90", mirrored(bgr_, -1));
  expectMade("convert in.png out.png --rotate 90 --cut 3,2,20,11", clockwise(part));
  expectMade("convert --cut 3,2,20,11 in.png out.png --rotate 90", mirrored(bgr_(part).t(), 1));
  expectMade("convert --flip h in.png --rotate 90 out.png --flip v",
             mirrored(mirrored(mirrored(bgr_, 1).t(), 1), 0));
  expectMade("convert in.png out.png --to planar --rotate 90 --cut 3,2,20,11",
             stackedPlanes(clockwise(part)));
  expectMade("convert in.png out.png --to planar --flip v --to rgb", mirrored(bgr_, 0));
}

TEST_F(PictureCommands, ConvertKeepsGreyAndAlphaAndRoundsDeepSamples) {
  const cv::Mat grey = noise(45, 31, CV_8UC1), bgra = noise(45, 31, CV_8UC4);
  cv::imwrite(path("grey.png"), grey);
  cv::imwrite(path("bgra.png"), bgra);
  expectMade("convert grey.png out.png", grey);
  expectMade("convert grey.png out.png --to rgb", recoloured(grey, cv::COLOR_GRAY2BGR));
  expectMade("convert bgra.png out.png", bgra);
  expectMade("convert bgra.png out.png --to rgb", recoloured(bgra, cv::COLOR_BGRA2BGR));
  for (const int type : {CV_16UC1, CV_16UC3, CV_16UC4}) {
    const cv::Mat deep = noise(480, 400, type);  // in colours more than a mebibyte
    cv::Mat shallow;
    deep.convertTo(shallow, CV_8U, 1.0 / 257.0);
    cv::imwrite(path("deep.png"), deep);
    expectMade("convert deep.png out.png", shallow);
  }
  cv::imwrite(path("plain.jpg"), grey, {cv::IMWRITE_JPEG_RST_INTERVAL, 1});
  write("grey.jpg", read("plain.jpg").insert(read("plain.jpg").size() - 2, "\xFF"));  // a fill byte
  expectMade("convert grey.jpg out.png", cv::imread(path("grey.jpg"), cv::IMREAD_UNCHANGED));
  cv::imwrite(path("tall.png"), cv::Mat(16384, 1, CV_8UC1, cv::Scalar(9)));
  expectMade("convert tall.png out.png --rotate 90", cv::Mat(1, 16384, CV_8UC1, cv::Scalar(9)));
}

TEST_F(PictureCommands, ConvertReadsJpegUprightRawFramesAndStandardInput) {
  cv::imwrite(path("in.jpg"), bgr_);
  const cv::Mat decoded = cv::imread(path("in.jpg"));
  write("turned.jpg", tn_test::jpegWithOrientation(read("in.jpg"), 6));
  expectMade("convert - out.png <in.jpg", decoded);
  expectMade("convert turned.jpg out.png", mirrored(decoded.t(), 1));
  const std::string piped = run("convert in.jpg -");
  const std::vector<unsigned char> bytes(piped.begin(), piped.end());
  EXPECT_EQ(cv::norm(cv::imdecode(bytes, cv::IMREAD_UNCHANGED), decoded, cv::NORM_INF), 0.0);

  const cv::Mat frame = noise(8, 6, CV_8UC1);
  const std::vector<std::uint8_t> samples(frame.begin<std::uint8_t>(), frame.end<std::uint8_t>());
  write("in.yuv", std::string(samples.begin(), samples.end()));
  tarnkit::Picture picture = tarnkit::decodeRawFrame(tarnkit::RawFormat::kNv21, 8, 4, samples);
  expectMade("convert in.yuv out.png --frame 8x4 --format nv21",
             recoloured(cv::Mat(4, 8, CV_8UC3, picture.bytes.data()), cv::COLOR_RGB2BGR));
}

// At this side the identity and the mirror are exact.
constexpr int kSide = 32;

TEST_F(PictureCommands, EachWarpHasItsOwnBorder) {
  const cv::Mat picture = noise(kSide, kSide, CV_8UC3), grey = noise(kSide, kSide, CV_8UC1);
  cv::imwrite(path("in.png"), picture);
  cv::imwrite(path("grey.png"), grey);
  cv::Mat black = picture.clone(), repeated = picture.clone();
  black.row(0).setTo(0);
  black.col(0).setTo(0);
  picture.row(kSide - 2).copyTo(repeated.row(kSide - 1));
  repeated.col(kSide - 2).copyTo(repeated.col(kSide - 1));
  expectMade("warp in.png out.png --matrix 1,0,0,0,1,0", black);
  expectMade("warp in.png out.png --matrix 1,0,0,0,1,0 --variant optimized", black);
  expectMade("warp in.png out.png --matrix 1,0,0,0,1,0 --variant sse", repeated);
  expectMade("warp in.png out.png --matrix=-1,0,0,0,1,0 --variant sse-hwc", mirrored(picture, 1));
  expectMade("warp grey.png out.png --matrix 1,0,0,0,1,0 --variant sse-hwc",
             recoloured(grey, cv::COLOR_GRAY2BGR));
  // Only optimized skews pictures that are not square.
  cv::imwrite(path("wide.png"), noise(48, kSide, CV_8UC3));
  const std::string turn = "warp wide.png - --matrix 0.9,0.2,0,-0.2,0.9,0";
  EXPECT_EQ(run(turn), run(turn + " --variant affine"));
  EXPECT_NE(run(turn), run(turn + " --variant optimized"));
  // Upright, however the camera was held.
  cv::imwrite(path("plain.jpg"), picture);
  write("in.jpg", tn_test::jpegWithOrientation(read("plain.jpg"), 6));
  expectMade("warp in.jpg out.png --matrix 1,0,0,0,1,0 --variant sse-hwc", cv::imread(path("in.jpg")));
}

// Half a pixel off the edge, affine_sse takes one and a half of the first pixel less half of the second.
TEST_F(PictureCommands, NumPyKeepsWhatPngRoundsAndClamps) {
  cv::Mat picture(kSide, kSide, CV_8UC3, cv::Scalar(0, 100, 255));
  picture.col(1).setTo(cv::Scalar(255, 101, 0));
  cv::imwrite(path("in.png"), picture);
  const auto first_pixel = [&] { return cv::imread(path("out.png")).at<cv::Vec3b>(5, 0); };
  // Shifts by 3.5 and by 0.625 pixels.
  const std::string left = " --variant sse --matrix 1,0,-0.21875,0,1,0";
  run("warp in.png out.png" + left);
  EXPECT_EQ(first_pixel(), cv::Vec3b(0, 100, 255));
  run("warp in.png out.png --variant sse-hwc --matrix 1,0,0.0390625,0,1,0");
  EXPECT_EQ(first_pixel(), cv::Vec3b(159, 101, 96));
  const tn_test::Npy npy = parseNpy(run("warp - - <in.png" + left));
  EXPECT_NE(npy.header.find("'shape': (3, 32, 32)"), std::string::npos) << npy.header;
  const float first[] = {382.5f, 99.5f, -127.5f};  // red, green, blue
  for (std::size_t q = 0; q < 3; ++q)
    EXPECT_EQ(npy.values[(q * kSide + 5) * kSide], first[q]) << "plane " << q;
  const float odd[] = {std::nanf(""), 0.5f, 1e30f};
  const auto planes = TarnCPU::TensorShape::CHW;
  tarnkit::writeTensor(path("out.png"),
                       Tarn::checked::from_float_array({odd, sizeof(odd)}, 1, 1, 3, planes, nullptr));
  EXPECT_EQ(cv::imread(path("out.png")).at<cv::Vec3b>(0, 0), cv::Vec3b(255, 1, 0));
}

// The note that a camera writes into its picture, 1 to 8, turns nothing by itself. The bits that undo it
// give the picture that OpenCV turns by the note, and crops count in stored pixels.
TEST_F(PictureCommands, PreparedJpegPicturesAreTakenAsStored) {
  static constexpr int kBits[][2] = {{1, 0},      {2, 16}, {3, 4},     {3, 64}, {4, 8},
                                     {5, 2 + 16}, {6, 2},  {7, 2 + 8}, {8, 1}};
  cv::imwrite(path("plain.jpg"), noise(48, 48, CV_8UC3));
  for (const auto& [note, orient] : kBits) {
    write("in.jpg", tn_test::jpegWithOrientation(read("plain.jpg"), static_cast<char>(note)));
    expectMade("prepare in.jpg -o out.png --size 48x48 --orient " + std::to_string(orient),
               cv::imread(path("in.jpg")));
  }
  cv::imwrite(path("plain.jpg"), noise(30, 22, CV_8UC3));
  write("in.jpg", tn_test::jpegWithOrientation(read("plain.jpg"), 6));
  expectMade("prepare in.jpg -o out.png --size 18x16 --crop 10,2,27,17",
             cv::imread(path("plain.jpg"))(cv::Rect(10, 2, 18, 16)));
}

TEST_F(PictureCommands, TensorReadsColoursAsTheVideoSays) {
  write("full.y4m",
        "YUV4MPEG2 W16 H16 F25:1 C420jpeg XCOLORRANGE=FULL\nFRAME\n" + std::string(384, '\xD2'));
  const std::string command = "tensor full.y4m --size 16x16 -o - --range ";
  EXPECT_EQ(run("tensor full.y4m --size 16x16 -o -"), run(command + "full"));
  EXPECT_NE(run(command + "limited"), run(command + "full"));
}

TEST_F(PictureCommands, PrepareGivesTheLibrarysFloats) {
  static const CropWindow inside = {3, 2, 20, 17, false}, pixel = {29, 21, 29, 21, false},
                          grey = {-6, 4, 30, 40, true}, black = {-6, 4, 30, 40, false};
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
      {"--size 1x1 --crop 29,21,29,21", TN_PIX_FMT_RGB, 1, 1, 0, false, &pixel},
      {"--size 20x12 --crop=-6,4,30,40 --pad grey", TN_PIX_FMT_RGB, 20, 12, 0, false, &grey},
      {"--size 20x12 --crop=-6,4,30,40 --pad black", TN_PIX_FMT_RGB, 20, 12, 0, false, &black},
      {"--size 20x20 --orient 3 --format nv12", TN_PIX_FMT_NV12, 20, 20, 3, false, nullptr},
      {"--size 24x10 --order rgb --format nv21", TN_PIX_FMT_NV21, 24, 10, 0, false, nullptr},
      {"--size 24x10 --order bgr --orient 24 --format i420", TN_PIX_FMT_YUVI420, 24, 10, 24, true,
       nullptr},
      {"--size 20x12 --format i420 --crop=-6,4,30,40", TN_PIX_FMT_YUVI420, 20, 12, 0, false, &black},
      {"--size 20x12 --format nv12 --crop 3,2,20,17", TN_PIX_FMT_NV12, 20, 12, 0, false, &inside},
  };
  constexpr int kWidth = 30, kHeight = 22;
  for (const auto& k : cases) {
    SCOPED_TRACE(k.arguments);
    const bool rgb = k.format == TN_PIX_FMT_RGB, rgba = k.format == TN_PIX_FMT_RGBA;
    cv::Mat picture = noise(kWidth, kHeight * 3 / 2, CV_8UC1);  // a 4:2:0 frame
    if (rgb || rgba) {
      picture = noise(kWidth, kHeight, rgb ? CV_8UC3 : CV_8UC4);
      cv::imwrite(path("in.png"), picture);
      picture = recoloured(picture, rgb ? cv::COLOR_BGR2RGB : cv::COLOR_BGRA2RGBA);
    } else {
      write("in.yuv", std::string(picture.data, picture.data + picture.total()));
    }
    run(std::string("prepare -o out.png.npy ") + (rgb || rgba ? "in.png " : "in.yuv --frame 30x22 ") +
        k.arguments);
    const _TN_Image image = {k.orient, k.format, kWidth, kHeight, 0, picture.data};
    const tn_test::Npy npy = parseNpy(read("out.png.npy"));
    const std::string shape = std::to_string(k.height) + ", " + std::to_string(k.width) + ")";
    EXPECT_NE(npy.header.find("'shape': (3, " + shape), std::string::npos) << npy.header;
    EXPECT_EQ(npy.values, tn_reference::networkInput(image, k.to_bgr, k.width, k.height, k.crop, 0));
  }
  const cv::Mat one_colour = noise(16, 16, CV_8UC1);
  cv::imwrite(path("in.png"), one_colour);
  expectMade("prepare in.png -o out.png --size 16x16", recoloured(one_colour, cv::COLOR_GRAY2BGR));
  cv::imwrite(path("in.png"), cv::Mat(8, 8, CV_8UC3, cv::Scalar(10, 20, 30)));
  expectMade("prepare in.png -o out.png --size 8192x1 --order bgr",
             cv::Mat(1, 8192, CV_8UC3, cv::Scalar(30, 20, 10)));
  EXPECT_EQ(parseNpy(run("prepare - -o - --size 1x1 <in.png")).values, std::vector<float>({30, 20, 10}));
}

// Shape, type and every element, by hand.
TEST_F(PictureCommands, TensorsHoldThePicturesColours) {
  cv::Mat picture(2, 4, CV_8UC3);
  for (int i = 0; i < 24; ++i) picture.data[i] = static_cast<std::uint8_t>(100 + 3 * i);
  cv::imwrite(path("in.png"), picture);
  const auto colour = [&](int x, int y, int c) {  // c: 0 is red
    return static_cast<float>(picture.at<cv::Vec3b>(y, x)[2 - c]);
  };
  const auto tensor_of = [&](const std::string& options) {
    return parseNpy(run("tensor in.png -o - --size 4x4 " + options));
  };
  const tn_test::Npy boxed =
      tensor_of("--bar 1,2,3 --divisor 2 --mean 4,5,6 --deviation 2,4,8 --scale 3,5,7");
  EXPECT_EQ(boxed.header.rfind("{'descr': '<f4', 'fortran_order': False, 'shape': (1, 3, 4, 4), }", 0),
            0u);
  ASSERT_EQ(boxed.values.size(), 48u);
  const float bar[] = {1, 2, 3}, mean[] = {4, 5, 6}, deviation[] = {2, 4, 8}, scale[] = {3, 5, 7};
  for (int i = 0; i < 48; ++i) {
    const int c = i / 16, y = i / 4 % 4, x = i % 4;
    const float value = y == 0 || y == 3 ? bar[c] : colour(x, y - 1, c);
    EXPECT_EQ(boxed.values[static_cast<std::size_t>(i)], (value / 2 - mean[c]) / deviation[c] * scale[c])
        << i;
  }
  const std::string stored(picture.data, picture.data + 24), bars(12, 'r');  // 114
  static const struct {
    const char *options, *type, *shape;
    std::string first;
  } cases[] = {
      {"--type u8 --layout nhwc --order bgr", "|u1", "1, 4, 4, 3", bars + stored + bars},
      {"--type u8 --layout nhwc --order bgr --fit letterbox-top-left", "|u1", "1, 4, 4, 3",
       stored + bars + bars},
      // 114 is 1.78125 * 2^6.
      {"--type f16", "<f2", "1, 3, 4, 4", std::string("\x20\x57\x20\x57", 4)},
      {"--type bf16 --order gray", "<u2", "1, 1, 4, 4", std::string("\xE4\x42\xE4\x42", 4)},
      {"--type i8 --step 4 --zero-point -3", "|i1", "1, 3, 4, 4", std::string("\x19\x19\x19\x19", 4)},
      {"--type i8 --step 0.5", "|i1", "1, 3, 4, 4", std::string("\x7F\x7F\x7F\x7F", 4)},
      // The two in the middle of the upper row, turned.
      {"--type u8 --layout nhwc --order bgr --region 1,0,2,1 --orientation 3 --fit crop --resampling "
       "nearest",
       "|u1", "1, 4, 4, 3",
       stored.substr(18, 3) + stored.substr(18, 3) + stored.substr(15, 3) + stored.substr(15, 3)},
  };
  for (const auto& c : cases) {
    const tn_test::Npy npy = tensor_of(c.options);
    EXPECT_EQ(npy.header.rfind(std::string("{'descr': '") + c.type +
                                   "', 'fortran_order': False, 'shape': (" + c.shape + "), }",
                               0),
              0u)
        << npy.header;
    EXPECT_EQ(npy.bytes.substr(0, c.first.size()), c.first) << c.options;
  }
  // What a preset has goes where an option leaves no place for it.
  EXPECT_EQ(parseNpy(run("tensor - -o - --preset clip224 <in.png")).values.size(), 3u * 224 * 224);
  EXPECT_EQ(tensor_of("--preset imagenet224 --type u8 --layout nhwc --order bgr --fit letterbox "
                      "--bar 114,114,114 --resampling nearest")
                .bytes,
            bars + stored + bars);
  // Its numbers follow the channels, and those that no option gives stay.
  const std::string rgb = run("tensor - -o - --preset imagenet224 --short-side 230 <in.png");
  const std::string bgr = run("tensor - -o - --preset imagenet224 --short-side 230 --order bgr <in.png");
  constexpr std::size_t kPlane = 224 * 224 * sizeof(float);
  EXPECT_EQ(bgr.substr(bgr.size() - kPlane), rgb.substr(rgb.size() - 3 * kPlane, kPlane));
  EXPECT_EQ(run("tensor - -o - --preset imagenet224 --short-side 230 --scale 1,1,1 <in.png"), rgb);
  expectRefused("tensor - <in.png -o out --preset imagenet224 ",
                {{"--order gray", "--order: the preset"}});
  // A camera's note is heeded, unless the option says otherwise.
  cv::imwrite(path("in.jpg"), picture);
  write("turned.jpg", tn_test::jpegWithOrientation(read("in.jpg"), 6));
  run("tensor turned.jpg -o by-note.npy --size 8x8");
  run("tensor in.jpg -o by-option.npy --size 8x8 --orientation 6");
  run("tensor turned.jpg -o as-stored.npy --size 8x8 --orientation 1");
  run("tensor in.jpg -o plain.npy --size 8x8");
  EXPECT_EQ(read("by-note.npy"), read("by-option.npy"));
  EXPECT_EQ(read("as-stored.npy"), read("plain.npy"));
  EXPECT_NE(read("plain.npy"), read("by-note.npy"));
}

// One colour, whatever holds it: BT.709, since the frame has 720 rows, or what --matrix says.
TEST_F(PictureCommands, RawFramesOfEveryFormatGiveTheirColour) {
  constexpr std::size_t kWidth = 3, kHeight = 721, kPixels = kWidth * kHeight, kHalf = 2, kRows = 361;
  const auto times = [](const std::string& bytes, std::size_t count) {
    std::string all;
    while (count-- > 0) all += bytes;
    return all;
  };
  // Luma 100, U 90, V 200; of ten bits four times that, in P010's high end.
  const std::string y = times("\x64", kPixels), u(kHalf * kRows, '\x5A'), v(kHalf * kRows, '\xC8');
  const std::string y10 = times(std::string("\x90\x01", 2), kPixels),
                    u10 = times(std::string("\x68\x01", 2), kHalf * kRows),
                    v10 = times(std::string("\x20\x03", 2), kHalf * kRows);
  const std::string yp = times(std::string("\x00\x64", 2), kPixels);
  const std::pair<const char*, std::string> cases[] = {
      {"nv12", y + times("\x5A\xC8", kHalf * kRows)},
      {"nv21", y + times("\xC8\x5A", kHalf * kRows)},
      {"i420", y + u + v},
      {"yv12", y + v + u},
      {"i422", y + times("\x5A", kHalf * kHeight) + times("\xC8", kHalf * kHeight)},
      {"i444", y + times("\x5A", kPixels) + times("\xC8", kPixels)},
      {"i010", y10 + u10 + v10},
      {"p010", yp + times(std::string("\x00\x5A\x00\xC8", 4), kHalf * kRows)},
      {"yuyv", times("\x64\x5A\x64\xC8", kHalf * kHeight)},
      {"uyvy", times("\x5A\x64\xC8\x64", kHalf * kHeight)},
      {"gray", y},
      {"rgb", times("\x0A\x14\x1E", kPixels)},
      {"bgr", times("\x1E\x14\x0A", kPixels)},
      {"rgba", times("\x0A\x14\x1E\xFF", kPixels)},
      {"bgra", times("\x1E\x14\x0A\xFF", kPixels)},
  };
  const double luma = (100 - 16) * 255.0 / 219, cb = (90 - 128) * 255.0 / 224,
               cr = (200 - 128) * 255.0 / 224;
  const double bt709[] = {luma + 1.5748 * cr, luma - 0.187324 * cb - 0.468124 * cr, luma + 1.8556 * cb};
  for (const auto& [format, bytes] : cases) {
    write("in.yuv", bytes);
    const auto values =
        parseNpy(run(std::string("tensor in.yuv --raw 3x721 --size 2x1 --fit stretch -o - --format ") +
                     format))
            .values;
    ASSERT_EQ(values.size(), 6u) << format;
    const bool is_rgb = std::string(format).find('b') != std::string::npos;
    for (std::size_t i = 0; i < 6; ++i)
      EXPECT_NEAR(values[i],
                  is_rgb       ? 10.0 + 10.0 * static_cast<double>(i / 2)
                  : bytes == y ? 100
                               : bt709[i / 2],
                  0.01)
          << format;
  }
  write("in.yuv", y + u + v);
  const std::string options = "tensor in.yuv --raw 3x721 --size 1x1 --fit stretch --format i420 -o - ";
  EXPECT_NEAR(parseNpy(run(options + "--matrix bt601")).values[0], luma + 1.402 * cr, 0.01);
  EXPECT_NEAR(parseNpy(run(options + "--range full")).values[0], 100 + 1.5748 * 72, 0.01);
}

}  // namespace
