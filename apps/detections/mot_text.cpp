// MOTChallenge text: parsed line by line, every field checked, and written.
#include "apps/detections/mot_text.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <fstream>
#include <iostream>
#include <string_view>

#include "apps/support/failure.h"

namespace tarnkit {
namespace {

constexpr std::size_t kFields = 7;
constexpr std::array<const char*, kFields> kFieldNames = {"frame", "id",     "left", "top",
                                                          "width", "height", "score"};
constexpr double kLargestFrame = 2147483647.0;
// More than a line of seven numbers needs; a device that never ends does not fill the memory.
constexpr std::size_t kLongestLine = 65536;
// Belongs to what is accepted: lines are written with three decimals, and 999999.9999 is this then.
constexpr double kCoordinateBound = 1e6;

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// Parses one line; what is wrong with it is thrown as text.
struct LineParser {
  const std::string& file;
  std::int64_t line_number;

  [[noreturn]] void refuse(const std::string& fault) const { throw Failure(file, line_number, fault); }

  [[noreturn]] void refuseField(std::size_t field, std::string_view text, const char* fault) const {
    constexpr std::size_t kShown = 40;
    std::string shown = onOneLine(std::string(text.substr(0, kShown)));
    if (text.size() > kShown) shown += "...";
    refuse("field " + std::to_string(field + 1) + " (" + kFieldNames[field] + ") is '" + shown + "', " +
           fault);
  }

  double number(std::size_t field, std::string_view text) const {
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc::invalid_argument || end != text.data() + text.size())
      refuseField(field, text, "not a number");
    if (error != std::errc() || !std::isfinite(value)) refuseField(field, text, "out of range");
    return value;
  }

  void parse(std::string_view line, MotFrames& frames) const {
    std::array<double, kFields> values;
    std::array<std::string_view, kFields> texts;
    for (std::size_t field = 0; field < kFields; ++field) {
      const std::size_t comma = line.find(',');
      if (comma == std::string_view::npos && field + 1 < kFields)
        refuse("has " + std::to_string(field + 1) +
               " of the 7 fields frame,id,left,top,width,height,score");
      texts[field] = trimmed(line.substr(0, comma));
      values[field] = number(field, texts[field]);
      line.remove_prefix(comma == std::string_view::npos ? line.size() : comma + 1);
    }
    const auto [frame, id, left, top, width, height, score] = values;
    if (frame < 1.0 || frame > kLargestFrame || frame != std::floor(frame))
      refuseField(0, texts[0], "not a whole number from 1 on");
    for (std::size_t field = 2; field < 6; ++field)
      if (std::abs(values[field]) > kCoordinateBound)
        refuseField(field, texts[field], "more than a million pixels");
    if (width <= 0.0) refuseField(4, texts[4], "not above 0");
    if (height <= 0.0) refuseField(5, texts[5], "not above 0");
    if (std::abs(score) > 1e30) refuseField(6, texts[6], "out of range");
    if (id != std::floor(id)) refuseField(1, texts[1], "not a whole number");
    if (std::abs(id) > kLargestFrame) refuseField(1, texts[1], "out of range");
    frames[static_cast<std::int64_t>(frame)].push_back(
        {static_cast<std::int64_t>(id), left, top, width, height, score});
  }
};

template <class Number, class... Format>
void appendNumber(std::string& text, Number value, Format... format) {
  // Enough for any coordinate that a filter can produce, at three decimals: 308 digits and a few.
  char digits[400];
  const auto result = std::to_chars(digits, digits + sizeof(digits), value, format...);
  text.append(digits, result.ptr);
}

}  // namespace

MotFrames readMotFrames(std::istream& in, const std::string& name) {
  MotFrames frames;
  std::vector<char> line(kLongestLine + 1);
  LineParser parser{name, 1};
  for (; in.getline(line.data(), kLongestLine + 1); ++parser.line_number) {
    // The count includes the line break, which the last line may lack.
    const std::size_t length = static_cast<std::size_t>(in.gcount()) - (in.eof() ? 0 : 1);
    std::string_view text(line.data(), length);
    if (parser.line_number == 1 && text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    if (!trimmed(text).empty()) parser.parse(text, frames);
  }
  if (in.bad()) throw Failure(name, "cannot be read: " + errnoText(errno));
  if (!in.eof()) parser.refuse("has more than " + std::to_string(kLongestLine) + " characters");
  return frames;
}

MotFrames readMotFrames(const std::string& path) {
  errno = 0;
  if (path == "-") return readMotFrames(std::cin, "standard input");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Failure(path, "cannot be read: " + errnoText(errno));
  return readMotFrames(in, path);
}

std::string motLine(std::int64_t frame, const MotBox& box) {
  std::string line = std::to_string(frame) + "," + std::to_string(box.id);
  for (const double value : {box.left, box.top, box.width, box.height}) {
    line += ',';
    appendNumber(line, value, std::chars_format::fixed, 3);
  }
  line += ',';
  // The score went through the trackers as a float; its shortest form is the one that was read.
  appendNumber(line, static_cast<float>(box.score));
  return line + ",-1,-1,-1\n";
}

std::string motLines(std::int64_t frame, const std::vector<MotBox>& boxes) {
  std::string lines;
  for (const MotBox& box : boxes) lines += motLine(frame, box);
  return lines;
}

std::vector<Tarn::TarnBoundingBox2D> toFractions(const std::vector<MotBox>& boxes, int frame_width,
                                                 int frame_height) {
  std::vector<Tarn::TarnBoundingBox2D> fractions;
  fractions.reserve(boxes.size());
  for (const MotBox& box : boxes)
    fractions.push_back(
        {static_cast<float>(box.left / frame_width), static_cast<float>(box.top / frame_height),
         static_cast<float>(box.width / frame_width), static_cast<float>(box.height / frame_height),
         static_cast<float>(box.score), 0});
  return fractions;
}

std::vector<MotBox> toPixels(const std::vector<Tarn::TarnIdentifiedBox>& boxes, int frame_width,
                             int frame_height) {
  std::vector<MotBox> pixels;
  pixels.reserve(boxes.size());
  for (const Tarn::TarnIdentifiedBox& box : boxes)
    pixels.push_back({box.id, static_cast<double>(box.x) * frame_width,
                      static_cast<double>(box.y) * frame_height,
                      static_cast<double>(box.w) * frame_width,
                      static_cast<double>(box.h) * frame_height, static_cast<double>(box.score)});
  return pixels;
}

}  // namespace tarnkit
