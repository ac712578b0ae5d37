// The settings of a network, and the reader of their text form; tn_config_printer.cpp writes it.
#include "tn_inference_config.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "platform/tn_cnn/src/tn_config_text.h"
#include "platform/tn_cnn/src/tn_file.h"
#include "tn_core.h"

namespace TarnCPU {
namespace {

constexpr WeightPrecision kPrecisions[] = {WeightPrecision::kF32, WeightPrecision::kF16,
                                           WeightPrecision::kBf16};
// Far above any real file. Without a limit, a device that never ends would fill the memory.
constexpr std::size_t kMostConfigBytes = std::size_t{64} << 20;

// Splits a line into words. Throws std::runtime_error if that fails.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}

  // The next word without its quotes; false at the end of the line or at a comment.
  bool next(std::string& word) {
    const std::size_t start = rest_.find_first_not_of(" \t\r");
    if (start == std::string_view::npos || rest_[start] == '#') return false;
    rest_.remove_prefix(start);
    if (rest_.front() == '"') {
      word = quoted();
      return true;
    }
    const std::size_t end = std::min(rest_.find_first_of(" \t\r#"), rest_.size());
    word = rest_.substr(0, end);
    if (word.find('"') != std::string::npos)
      throw std::runtime_error("a quote stands inside the word " + quoteName(word));
    rest_.remove_prefix(end);
    return true;
  }

  std::string expect(const char* what) {
    std::string word;
    if (!next(word)) throw std::runtime_error(std::string("lacks ") + what);
    return word;
  }

  void expectEnd() {
    std::string word;
    if (next(word)) throw std::runtime_error("does not end before " + quoteName(word));
  }

 private:
  std::string quoted() {
    std::string word;
    for (std::size_t i = 1; i < rest_.size(); ++i) {
      if (rest_[i] == '"') {
        rest_.remove_prefix(i + 1);
        if (!rest_.empty() && std::strchr(" \t\r#", rest_.front()) == nullptr)
          throw std::runtime_error("no blank follows the name " + quoteName(word));
        return word;
      }
      word += rest_[i] == '\\' ? escaped(i) : rest_[i];
    }
    throw std::runtime_error("a quote is not closed");
  }

  // The character of the escape at `i`; moves `i` to the escape's last character.
  char escaped(std::size_t& i) {
    const std::string_view escape = rest_.substr(i, 4);
    ++i;
    if (escape.size() >= 2 && (escape[1] == '"' || escape[1] == '\\')) return escape[1];
    unsigned code = 0;
    const char* const end = escape.data() + escape.size();
    if (escape.size() == 4 && escape[1] == 'x' &&
        std::from_chars(escape.data() + 2, end, code, 16).ptr == end) {
      i += 2;
      return static_cast<char>(static_cast<unsigned char>(code));
    }
    throw std::runtime_error("a backslash is not followed by a quote, a backslash, or x and two digits");
  }

  std::string_view rest_;
};

WeightPrecision parsePrecision(const std::string& word) {
  for (const WeightPrecision precision : kPrecisions)
    if (word == to_string(precision)) return precision;
  throw std::runtime_error("the precision is " + quoteName(word) + ", not f32, f16 or bf16");
}

int parseThreads(const std::string& word) {
  if (word == kAutoThreads) return 0;
  int threads = 0;
  const char* const end = word.data() + word.size();
  const auto [stop, error] = std::from_chars(word.data(), end, threads);
  if (error != std::errc() || stop != end || threads < 1 || threads > LayerInferenceConfig::kMostThreads)
    throw std::runtime_error("the number of threads is " + quoteName(word) + ", not auto or 1 to " +
                             std::to_string(LayerInferenceConfig::kMostThreads));
  return threads;
}

// Reads a text line by line into a config.
class Reader {
 public:
  Reader(LayerInferenceConfig& config, const std::string& source)
      : config_(config), source_(withoutControls(source)) {}

  void read(std::string_view text) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
      text.remove_prefix(kByteOrderMark.size());
    while (!text.empty() && !refused_) {
      const std::size_t end = std::min(text.find('\n'), text.size());
      ++line_;
      readLine(text.substr(0, end));
      text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (!versioned_ && !refused_) log(std::string("lacks the line '") + kConfigFormat + "'");
  }

 private:
  void readLine(std::string_view line) {
    try {
      Words words(line);
      std::string keyword;
      if (!words.next(keyword)) return;
      if (!versioned_)
        readVersion(keyword, words);
      else
        readSetting(keyword, words);
    } catch (const std::runtime_error& fault) {
      log(fault.what());
    }
  }

  // Without a known version the meaning of the text is unknown, so none of its settings apply.
  void readVersion(const std::string& keyword, Words& words) {
    refused_ = true;
    std::string version;
    const bool known = words.next(version) && keyword + " " + version == kConfigFormat;
    if (!known)
      throw std::runtime_error(std::string("is not '") + kConfigFormat +
                               "', so nothing of the text is taken");
    words.expectEnd();
    versioned_ = true;
    refused_ = false;
  }

  void readSetting(const std::string& keyword, Words& words) {
    if (keyword == "threads") {
      const int threads = parseThreads(words.expect("the number of threads"));
      words.expectEnd();
      const bool again = had_threads_;
      had_threads_ = true;
      config_.set_num_threads(threads);
      if (again) log("replaces an earlier line for threads");
    } else if (keyword == "layer") {
      const std::string name = words.expect("the layer's name"), word = words.expect("the precision");
      const WeightPrecision precision =
          word == kNoWeights ? WeightPrecision::kF32 : parsePrecision(word);
      words.expectEnd();
      const bool again = config_.get_precisions().count(name) != 0;
      config_.set_precision(name, precision);
      if (again) log("replaces an earlier line for layer " + quoteName(name));
    } else {
      throw std::runtime_error("begins with " + quoteName(keyword) + ", not layer or threads");
    }
  }

  void log(const std::string& fault) const {
    Tarn::_LogError("Tarn", "%s:%d: %s", source_.c_str(), line_, fault.c_str());
  }

  LayerInferenceConfig& config_;
  const std::string source_;
  int line_ = 0;
  bool versioned_ = false, refused_ = false, had_threads_ = false;
};

}  // namespace

const char* to_string(WeightPrecision precision) {
  switch (precision) {
    case WeightPrecision::kF16:
      return "f16";
    case WeightPrecision::kBf16:
      return "bf16";
    case WeightPrecision::kF32:
      break;
  }
  return "f32";
}

LayerInferenceConfig::LayerInferenceConfig() = default;

LayerInferenceConfig LayerInferenceConfig::from_file(const std::string& path) {
  try {
    const std::vector<unsigned char> bytes = readFile(path, kMostConfigBytes);
    return from_text(std::string(bytes.begin(), bytes.end()), path);
  } catch (const std::runtime_error& fault) {
    Tarn::_LogError("Tarn", "%s: %s", withoutControls(path).c_str(), fault.what());
  }
  return {};
}

LayerInferenceConfig LayerInferenceConfig::from_text(const std::string& text,
                                                     const std::string& source) {
  LayerInferenceConfig config;
  Reader(config, source).read(text);
  return config;
}

void LayerInferenceConfig::set_precision(const std::string& layer, WeightPrecision precision) {
  precisions_[layer] = precision;
}

WeightPrecision LayerInferenceConfig::get_precision(const std::string& layer) const {
  const auto found = precisions_.find(layer);
  return found == precisions_.end() ? WeightPrecision::kF32 : found->second;
}

const std::map<std::string, WeightPrecision>& LayerInferenceConfig::get_precisions() const {
  return precisions_;
}

void LayerInferenceConfig::set_num_threads(int threads) {
  if (threads < 0 || threads > kMostThreads) {
    Tarn::_LogError("Tarn", "%d threads: must be from 0 to %d", threads, kMostThreads);
    return;
  }
  threads_ = threads;
}

int LayerInferenceConfig::get_num_threads() const { return threads_; }

}  // namespace TarnCPU
