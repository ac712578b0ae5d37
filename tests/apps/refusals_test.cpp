// What the tool says, and that it changes no file, when it cannot do what it was asked to: one table of
// command lines for each kind of input.
#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>
#include <regex>
#include <sstream>

#include "apps/support/failure.h"
#include "tests/apps/tool_test_support.h"
#include "tests/support/test_support.h"

namespace {

class Refusals : public tn_test::ToolTest {};

TEST_F(Refusals, WrongUsageIsStatusTwo) {
  expectRefused("",
                {{"", "subcommand is required (see 'tarnkit --help')"},
                 {"fly walk.txt --frame 640x480", "'fly' is not a command (see 'tarnkit --help')"},
                 {"--fast", "'--fast' is not an option (see 'tarnkit --help')"},
                 {"track det.txt --frame 640 -o out", "--frame: '640' is not of the form WIDTHxHEIGHT"},
                 {"warp in.png out.png", "--matrix is required"},
                 {"warp in.png out.jpg --matrix 1,0,0,0,1,0", "'out.jpg' must end in .npy or .png"}},
                2);
  expectWrongUsage(
      "track ",
      {"", "det.txt -o out", "det.txt --frame 640x480", "det.txt --frame 640x480x3 -o out",
       "det.txt --frame 640x480 --filter median -o out", "det.txt --frame 640x480 --fps fast -o out"});
  expectWrongUsage("run walk.mp4 --detector ", {"cat", "mot:", "onnx:"});
  expectWrongUsage("tensor walk.mp4 --size 64x64 -o out ",
                   {"--mean 1,2", "--matrix bt000", "--raw 8x8", "--format nv12", "--region 1,2,3",
                    "--type f64", "--pillow 11", "--preset other", "--orientation up"});
  expectWrongUsage("sample ", {"out.mp4"});
  expectWrongUsage("layers ",
                   {"", "a.onnx --input 3x4", "a.onnx --input 3x4x5x6", "a.onnx --input axbxc"});
  expectWrongUsage("export-config ", {"a.onnx"});
  expectWrongUsage("convert in.png ",
                   {"", "out.png more.png", "out.png --to hsv", "out.png --rotate 180", "out.png --flip",
                    "out.png --cut 1,2,3", "out.png --cut 1,2,3,4,5", "out.png --cut 1,2,,4",
                    "out.png --cut 1,2,3,99999999999", "out.png --format nv12", "out.png --frame 8x4",
                    "out.png --format yuyv --frame 8x4"});
  expectWrongUsage("prepare in.png -o out.npy ",
                   {"", "-o out.jpg --size 8x8", "--size 8x8 --orient=-1", "--size 8x8 --order grb",
                    "--size 8x8 --crop 1,2,3", "--size 8x8 --pad grey"});
  expectWrongUsage("warp in.png ", {"--matrix 1,0,0,0,1,0", "out.png --matrix 1,0,0,0,1",
                                    "out.png --matrix 1,0,0,0,1,0,0", "out.png --matrix 1,0,x,0,1,0",
                                    "out.png --matrix 1,0,0,0,1,0 --variant avx"});
}

TEST_F(Refusals, HelpAndVersionAreNoFaults) {
  // The help of an option holds its default, which is what the variable holds; parsers differ in marks.
  static const std::vector<std::vector<std::string>> cases = {
      {"--version", "tarnkit \\d", "\ncommit ", "\ncompiler .*\\d\\.\\d", "\nlibrary tn_kits \\d",
       "\ninstruction set "},
      {"--help", "tarnkit COMMAND --help", "\n2 wrong usage"},
      {"run -h", "--detector .*hog\\b", "--hog-threshold \\w+\\W+0\\.5\\b",
       "--hog-smallest \\w+\\W+64\\b", "--score \\w+\\W+0\\.25\\b", "--nms \\w+\\W+0\\.45\\b"},
      {"score --help", "--overlap \\w+\\W+0\\.5\\b"},
      {"tensor --help", "--frame \\w+", "pillow-bicubic", "p010"},
      {"sample --help", "--frames \\w+\\W+150\\b"},
      {"layers --help", "--runs \\w+\\W+10\\b"}};
  for (const std::vector<std::string>& c : cases) {
    const std::string text = run(c[0]);
    for (std::size_t i = 1; i < c.size(); ++i)
      EXPECT_TRUE(std::regex_search(text, std::regex(c[i]))) << c[i] << " in\n" << text;
  }
}

TEST_F(Refusals, Boxes) {
  write("walk.txt", "1,1,10,10,5,5,1\n");
  std::filesystem::create_hard_link(path("walk.txt"), path("link.txt"));
  write("notes.txt", "These are notes.\n");
  write("gap.txt", "1,-1,10,10,5,5,1\n1000004,-1,10,10,5,5,1\n3,-1,10,10,5,5,1\n");
  write("twice.txt", "3,1,0,0,10,10,1\n3,1,40,0,10,10,1\n");
  write("out.txt", "nothing will be computed, so nothing may be replaced");
  expectRefused(
      "track --frame 640x480 -o out.txt ",
      {{"nofile.txt", "nofile.txt: cannot be read: No such file or directory"},
       {".", ".: cannot be read: Is a directory"},
       {"notes.txt", "notes.txt:1: has 1 of the 7 fields"},
       {"- <notes.txt", "standard input:1: has 1 of the 7 fields"},
       {"- --lost-threshold -100 <gap.txt", "standard input: no boxes between frames 3 and 1000004: "}});
  expectRefused("track walk.txt -o ",
                {{"out.txt --frame 0x480", "--frame: 0x480: "},
                 {"out.txt --frame 9x65536", "must be from 1 to 65535"},
                 {"no/where --frame 9x9", "no/where: cannot be written: No such file"},
                 {"link.txt --frame 9x9", "link.txt: is the input"}});
  // Every parameter has an option that reaches its field.
  expectRefused("track walk.txt --frame 640x480 -o out.txt ",
                {{"--iou-threshold 1.5", "tracker parameters: iouThreshold "},
                 {"--fps 0", "tracker parameters: fps "},
                 {"--fps \"\"", "tracker parameters: fps "},
                 {"--max-confidence 0", "tracker parameters: maxConfidence "},
                 {"--valid-threshold 7", "tracker parameters: validThreshold "},
                 {"--lost-threshold 1", "tracker parameters: lostThreshold "},
                 {"--process-noise -1", "tracker parameters: processNoise "},
                 {"--min-cutoff -1", "tracker parameters: minCutoff "},
                 {"--beta nan", "tracker parameters: beta "},
                 {"--d-cutoff -1", "tracker parameters: dCutoff "},
                 {"--measurement-noise -1", "tracker parameters: measurementNoise "}});
  expectRefused("score ", {{"- walk.txt <twice.txt", "standard input: frame 3 has identity 1 twice"},
                           {"walk.txt twice.txt", "twice.txt: frame 3 has identity 1 twice"},
                           {"walk.txt walk.txt --overlap 1.5", "--overlap: must be from 0 to 1"},
                           {"walk.txt walk.txt --overlap nan", "--overlap: must be from 0 to 1"},
                           {"- -", "standard input is given for both"}});
}

TEST_F(Refusals, Videos) {
  makeSample(40);
  const std::string video = read("walk.mp4");
  write("notes.txt", "These are notes.\n");
  write("empty.mp4", "");
  write("head.mp4", video.substr(0, 200));
  // Within the header of the last frame's fragment, which a pipe's reader cannot pass over.
  write("cut.mp4", video.substr(0, video.rfind("tfhd") + 8));
  expectRefused("run ", {{"nofile.mp4", "nofile.mp4: cannot be read: No such file or directory"},
                         {"notes.txt", "notes.txt: is not a video"},
                         {"empty.mp4", "empty.mp4: "},
                         {"head.mp4", "head.mp4: "},
                         {"- --detector mot:-", "standard input is given for more than one file"}});
  expectRefused(
      "run walk.mp4 ",
      {{"--size 64x0", "--size: 64x0: "},
       {"--size 63x8193", "--size: 63x8193: width and height must be from 1 to 8192"},
       {"--detector onnx --order gray", "--order: the network takes three channels"},
       {"--detector mot:walk.txt --region 320,0,9,9", "--region: "},
       {"--detector mot:walk.txt --divisor 0", "--divisor: "},
       {"--orientation 0", "--orientation: 0: "},
       {"--frames 0", "--frames: 0: "},
       {"--fps -3", "tracker parameters: fps "},
       {"--hog-smallest 23", "--hog-smallest: "},
       {"--hog-smallest 2001", "--hog-smallest: "},
       {"--score -0.1", "--score: must be from 0 to 1"},
       {"--nms 1.1", "--nms: must be from 0 to 1"},
       {"--labels walk.txt", "--labels: is for --detector onnx only"},
       {"--config walk.txt", "--config: is for --detector onnx only"},
       {"--detector onnx:walk.txt -o walk.txt", "walk.txt: is the input"},
       {"--detector onnx --labels walk.txt --contact-sheet walk.txt", "walk.txt: is the input"},
       {"-o walk.mp4", "walk.mp4: is the input"},
       {"-o -", "a video cannot go to standard output"},
       {"--detector mot:walk.txt --tracks ./walk.txt", "./walk.txt: is the input"},
       {"-o ./out --tracks out", "out: is given for two outputs"},
       {"--tracks - --contact-sheet -", "standard output: is given for two outputs"},
       {"--detector onnx --config walk.txt --trajectories walk.txt", "walk.txt: is the input"},
       {"--detector onnx --labels - --config -", "standard input is given for more than one file"},
       {"--tensors walk.txt", "walk.txt: cannot be made: "}});
  expectRefused("tensor walk.mp4 -o out ",
                {{"--frame 0 --size 64x64", "--frame: 0: "},
                 {"--size 64x8193", "--size: 64x8193: "},
                 {"--size 64x64 --mean 1,nan,1", "--mean: value 2 must be finite"},
                 {"--size 64x64 --scale 1,inf,1", "--scale: "},
                 {"--deviation 1,0,1", "--deviation: "},
                 {"--bar 0,0,256", "--bar: value 3 is not from 0 to 255"},
                 {"--type i8", "--step: "},
                 {"--type u8 --step 1 --zero-point 256", "--zero-point: "},
                 {"--fit crop --short-side -1", "--short-side: "},
                 {"--region 0,0,0,0", "--region: 0,0,0,0: has no pixels"},
                 {"--region 0,240,320,1", "--region: "},
                 {"--region 1,1,5,0", "--region: "},
                 {"--orientation 9", "--orientation: 9: must be from 1 to 8"},
                 {"--placement ./out", "./out: is given for two outputs"},
                 {"--placement no/where", "no/where: cannot be written: "}});
  expectRefused("tensor --size 64x64 ",
                {{"walk.mp4 -o walk.mp4", "walk.mp4: is the input"},
                 {"- --frame 41 -o out <walk.mp4", "standard input: has 40 frames, no frame 41"},
                 {"- --frame 40 -o out <cut.mp4", "standard input: cannot be read on: "}});
  expectRefused("sample out --detections out.txt ", {{"--frame 640x481", "--frame: 640x481: "},
                                                     {"--frame 64x62", "--frame: is too small"},
                                                     {"--frame 62x64", "--frame: is too small"},
                                                     {"--frames 0", "--frames: 0: "},
                                                     {"--frame 64x8194", "must be from 1 to 8192"}});
  expectRefused("sample ", {{"out --detections ./out", "./out: is given for two outputs"},
                            {"- --detections -", "standard output: is given for two outputs"}});
  // A picture on standard output has nothing behind it.
  for (const std::string option : {"--contact-sheet -", "--trajectories -"}) {
    const std::string picture = tool("run walk.mp4 --detector mot:walk.txt " + option).out;
    EXPECT_EQ(picture.rfind("IEND"), picture.size() - 8) << option;
  }
}

TEST_F(Refusals, Pictures) {
  cv::Mat noise(31, 45, CV_8UC3);
  cv::randu(noise, 0, 256);
  cv::imwrite(path("in.png"), noise);
  cv::imwrite(path("in.jpg"), noise);
  cv::imwrite(path("thin.png"), cv::Mat(8, 1, CV_8UC3, cv::Scalar(1, 2, 3)));
  cv::imwrite(path("flat.png"), cv::Mat(1, 8, CV_8UC3, cv::Scalar(1, 2, 3)));
  cv::imwrite(path("wide.png"), cv::Mat(1, 16385, CV_8UC1, cv::Scalar(1)));
  const std::string png = read("in.png"), jpeg = read("in.jpg");
  write("short.png", png.substr(0, png.size() / 2));
  std::string damaged = png;
  damaged[png.size() / 2] = static_cast<char>(~damaged[png.size() / 2]);
  write("damaged.png", damaged);
  // The mark of an end within a segment, as a thumbnail has it, is not the picture's.
  write("short.jpg",
        jpeg.substr(0, 2) + std::string("\xFF\xE1\0\4\xFF\xD9", 6) + jpeg.substr(2, jpeg.size() - 102));
  write("no_picture.jpg", "\xFF\xD8\xFF\xD9");
  write("notes.txt", "These are notes.\n");
  write("in.yuv", std::string(8 * 6 * 3 / 2, 'y'));
  expectRefused("convert ",
                {{"nofile.png out", "nofile.png: cannot be read: No such file or directory"},
                 {"- out <notes.txt", "standard input: is neither PNG nor JPEG"},
                 {"short.png out", "short.png: is damaged"},
                 {"damaged.png out", "damaged.png: is damaged"},
                 {"- out <short.jpg", "standard input: is cut short"},
                 {"no_picture.jpg out", "no_picture.jpg: is damaged"},
                 {"wide.png out", "wide.png: has more than 16384 pixels on a side"},
                 {"in.png in.png", "in.png: is the input"},
                 {"in.png out --cut 40,0,6,4",
                  "--cut: 40,0,6,4: is not inside the picture, which is 45x31 at that point"},
                 {"in.png out --rotate 90 --cut 0,0,45,31", "which is 31x45 at that point"},
                 {"- out --format nv12 --frame 8x8 <in.yuv",
                  "standard input: has only 72 of the 96 bytes of one frame of 8x8"},
                 {"in.yuv out --format i420 --frame 8x4",
                  "in.yuv: has more than the 48 bytes of one frame of 8x4"},
                 {"in.yuv out --format nv21 --frame 8x5", "--frame: 8x5: width and height must be even"},
                 {"in.yuv out --format nv21 --frame 16386x2",
                  "--frame: 16386x2: width and height must be from 1 to 16384"}});
  expectRefused("tensor in.yuv -o out.npy --placement out.json ",
                {{"", "in.yuv: "},
                 {"--format i422 --raw 8x6", "in.yuv: has only 72 of the 96 bytes of one frame of 8x6"},
                 {"--format gray --raw 8x8", "in.yuv: has more than the 64 bytes of one frame of 8x8"},
                 {"--format nv12 --raw 0x6", "--raw: 0x6: width and height must be from 1 to 16384"},
                 {"--format nv12 --raw 8x6 --frame 1", "--frame: is for videos"},
                 {"--format rgb --raw 6x4 --range full", "--range: in.yuv is not YUV"}});
  expectRefused("tensor ", {{"in.png -o in.png", "in.png: is the input"},
                            {"in.png -o out --placement ./in.png", "./in.png: is the input"},
                            {"in.png -o out --matrix bt709", "--matrix: in.png is not YUV"},
                            {"short.png -o out", "short.png: is damaged"},
                            {"in.png --frame 2 -o out", "in.png: has 1 frames, no frame 2"},
                            {"- -o out <notes.txt", "standard input: is neither PNG nor JPEG"}});
  expectRefused("prepare in.png -o out.npy ",
                {{"--size 0x8", "--size: 0x8: width and height must be from 1 to 8192"},
                 {"--size 8x8193", "--size: 8x8193: width and height must be from 1 to"},
                 {"--size 16x12 --orient 2", "--size: 16x12: must be a square"},
                 {"--size 18x18 --orient 1", "--size: 18x18: must be a square"},
                 {"--size 8x8 --orient 32", "--orient: 32: has bits that mean nothing"},
                 {"--size 8x8 --crop 5,5,4,9", "--crop: 5,5,4,9: has no pixels"},
                 {"--size 8x8 --crop 5,5,9,4", "--crop: 5,5,9,4: has no pixels"}});
  expectRefused("prepare ", {{"in.yuv -o out.npy --size 16x12 --orient 64 --format i420 --frame 8x6",
                              "--size: 16x12: must be a square"},
                             {"in.png -o in.png --size 8x8", "in.png: is the input"}});
  expectRefused("warp ", {{"in.png in.png --matrix 1,0,0,0,1,0", "in.png: is the input"},
                          {"in.png out.png --matrix 1,0,nan,0,1,0", "--matrix: values must be finite"},
                          {"- out.png --matrix 1,0,0,0,1,0 --variant sse <thin.png",
                           "standard input: is 1x8, too small for this variant, which takes 2x2 and up"},
                          {"flat.png out.png --matrix 1,0,0,0,1,0 --variant sse-hwc",
                           "flat.png: is 8x1, too small"}});
  run("warp thin.png out.png --matrix 1,0,0,0,1,0");
}

// Lines of detections, one after two that are whole; no process is needed to read them.
TEST(MotText, LinesThatDoNotParseAreNamed) {
  const std::string longest = "2,-1,10,10,5,5,1," + std::string(65536 - 17, 'x'),
                    long_line = longest + "1";
  const struct {
    const char *line, *fault;
  } cases[] = {
      {"hello", "has 1 of the 7 fields frame,id,left,top,width,height,score"},
      {"hello,-1,10,10,5,5,1", "field 1 (frame) is 'hello', not a number"},
      {"2,-1,10,10,5,5", "has 6 of the 7 fields frame,id,left,top,width,height,score"},
      {"2,-1,10,10px,5,5,1", "field 4 (top) is '10px', not a number"},
      {"2,-1,,10,5,5,1", "field 3 (left) is '', not a number"},
      {"2,-1,nan,10,5,5,1", "field 3 (left) is 'nan', out of range"},
      {"2,-1,1e999,10,5,5,1", "field 3 (left) is '1e999', out of range"},
      {"2,-1,-1000000.1,10,5,5,1", "field 3 (left) is '-1000000.1', more than a million pixels"},
      {"2,-1,10,10,5,1000000.1,1", "field 6 (height) is '1000000.1', more than a million pixels"},
      {long_line.c_str(), "has more than 65536 characters"},
      {"2,-1,10,10,0,5,1", "field 5 (width) is '0', not above 0"},
      {"2,-1,10,10,5,-5,1", "field 6 (height) is '-5', not above 0"},
      {"2,-1,10,10,5,5,1.01e30", "field 7 (score) is '1.01e30', out of range"},
      {"0,-1,10,10,5,5,1", "field 1 (frame) is '0', not a whole number from 1 on"},
      {"1.5,-1,10,10,5,5,1", "field 1 (frame) is '1.5', not a whole number from 1 on"},
      {"2147483648,-1,10,10,5,5,1", "field 1 (frame) is '2147483648', not a whole number from 1 on"},
      {"2,0.5,10,10,5,5,1", "field 2 (id) is '0.5', not a whole number"},
      {"2,1e19,10,10,5,5,1", "field 2 (id) is '1e19', out of range"},
      {"2,-1,10,1234567890123456789012345678901234567890x,5,5,1",
       "field 4 (top) is '1234567890123456789012345678901234567890...', not a number"},
      {"2,-1,10,\x01\x7F\t\v,5,5,1", "field 4 (top) is '', not a number"},
      {"2,-1,10,\x1g,5,5,1", "field 4 (top) is 'g', not a number"},
      // A byte order mark stands before the first line only.
      {"\xEF\xBB\xBF"
       "2,-1,10,10,5,5,1",
       "field 1 (frame) is '\xEF\xBB\xBF"
       "2', not a number"},
  };
  for (const auto& c : cases) {
    std::istringstream in(
        "\xEF\xBB\xBF"
        "1,-1,10,10,5,5,1\r\n\n" +
        std::string(c.line) + "\n4,-1,1,1,5,5,1\n");
    EXPECT_EQ(tn_test::FaultOf<tarnkit::Failure>([&] { tarnkit::readMotFrames(in, "det.txt"); }),
              std::string("det.txt:3: ") + c.fault);
  }
  // The limits themselves are taken, whatever follows the score, and a last line without a line break.
  std::istringstream in(longest + "\n2147483647,-2147483647,-1000000,1000000,1000000,0.001,-1e30");
  EXPECT_EQ(tarnkit::motLines(7, tarnkit::readMotFrames(in, "det.txt").at(2147483647)),
            "7,-2147483647,-1000000.000,1000000.000,1000000.000,0.001,-1e+30,-1,-1,-1\n");
}

}  // namespace
