// From options to specs, and the library's faults in the words of the command line.
#include "apps/tensor/tensor_options.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "apps/output/npy.h"
#include "apps/support/failure.h"

namespace tarnkit {
namespace {

template <class Value>
void take(const std::optional<Value>& given, Value& field) {
  if (given) field = *given;
}

void take(const std::vector<float>& given, float (&field)[3]) {
  if (!given.empty()) std::copy_n(given.begin(), 3, std::begin(field));
}

// The library's messages are "field: fault" or "field[index]: fault", and most options are called like
// their fields.
Failure faultOfOption(const std::string& message) {
  const std::size_t colon = std::min(message.find(": "), message.size());
  const std::size_t index = message.find('[');
  std::string option = message.substr(0, std::min(index, colon));
  if (option == "width" || option == "height") option = "size";
  if (option == "colour") option = "order";
  std::replace(option.begin(), option.end(), '_', '-');
  std::string fault = message.substr(std::min(colon + 2, message.size()));
  if (index < colon) fault = "value " + std::to_string(message[index + 1] - '0' + 1) + " " + fault;
  return Failure("--" + option, fault);
}

bool sameInAll(const float (&channels)[3]) {
  return channels[0] == channels[1] && channels[1] == channels[2];
}

// The numbers of a preset follow its channels.
void takeOrder(const TensorOptions& options, Tarn::TensorSpec& base) {
  if (!options.order || *options.order == base.colour) return;
  const bool known = (sameInAll(base.mean) || !options.mean.empty()) &&
                     (sameInAll(base.deviation) || !options.deviation.empty());
  if (*options.order == Tarn::TensorColour::kGray && !known)
    throw Failure("--order",
                  "the preset has no mean and deviation of grey; give --mean and --deviation");
  if (*options.order == Tarn::TensorColour::kBgr) {
    std::swap(base.mean[0], base.mean[2]);
    std::swap(base.deviation[0], base.deviation[2]);
  }
  base.colour = *options.order;
}

}  // namespace

Tarn::TensorSpec specOf(const TensorOptions& options, Tarn::TensorSpec base) {
  if (options.size) {
    base.width = options.size->width;
    base.height = options.size->height;
    base.short_side = 0;
  }
  take(options.type, base.type);
  take(options.step, base.step);
  take(options.fit, base.fit);
  // What a preset has for other fits and types is not asked for any more.
  if (base.fit != Tarn::Fit::kCrop) base.short_side = 0;
  const bool keeps_bytes = base.type == Tarn::ElementType::kUint8 && base.step == 0.0f;
  if (keeps_bytes) {
    const Tarn::TensorSpec neutral;
    base.divisor = neutral.divisor;
    std::copy_n(neutral.mean, 3, base.mean);
    std::copy_n(neutral.deviation, 3, base.deviation);
    std::copy_n(neutral.scale, 3, base.scale);
  }
  take(options.layout, base.layout);
  takeOrder(options, base);
  base.never_enlarge = base.never_enlarge || options.never_enlarge;
  take(options.short_side, base.short_side);
  take(options.bar, base.bar);
  take(options.divisor, base.divisor);
  take(options.mean, base.mean);
  take(options.deviation, base.deviation);
  take(options.scale, base.scale);
  take(options.zero_point, base.zero_point);
  take(options.resampling, base.resampling);
  take(options.pillow, base.pillow);
  return base;
}

std::unique_ptr<Tarn::Preprocessor> makePreprocessor(const Tarn::TensorSpec& spec) {
  try {
    return std::make_unique<Tarn::Preprocessor>(spec);
  } catch (const std::invalid_argument& refused) {
    throw faultOfOption(refused.what());
  }
}

Tarn::Placement preprocess(Tarn::Preprocessor& preprocessor, const Tarn::FrameView& frame,
                           const Tarn::Region& region, std::vector<unsigned char>& tensor,
                           const std::string& input) {
  tensor.resize(preprocessor.spec().bytes());
  try {
    return preprocessor.run(frame, tensor.data(), tensor.size(), region);
  } catch (const std::invalid_argument& refused) {
    const std::string message = refused.what();
    if (message.rfind("region", 0) == 0) throw faultOfOption(message);
    throw Failure(input, message);
  }
}

std::string npyHeaderOf(const Tarn::TensorSpec& spec) {
  static constexpr const char* kElements[] = {"<f4", "<f2", "<u2", "|u1", "|i1"};
  const int channels = spec.colour == Tarn::TensorColour::kGray ? 1 : 3;
  const bool is_nchw = spec.layout == Tarn::TensorLayout::kNchw;
  return npyHeader(kElements[static_cast<int>(spec.type)],
                   is_nchw ? std::vector<int>{1, channels, spec.height, spec.width}
                           : std::vector<int>{1, spec.height, spec.width, channels});
}

}  // namespace tarnkit
