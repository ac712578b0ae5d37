// Preprocessor: checks a job, plans it in a block of memory that only grows, and runs its rows.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <variant>

#include "tarnkit/src/preprocess/tn_antialiased.h"
#include "tarnkit/src/preprocess/tn_opencvlinear.h"
#include "tarnkit/src/preprocess/tn_pillow.h"
#include "tarnkit/src/preprocess/tn_pointsampler.h"
#include "tarnkit/src/preprocess/tn_refusal.h"
#include "tarnkit/src/preprocess/tn_tensorwriter.h"

namespace Tarn {
namespace {

using namespace preprocess;

// Each has the members of PointSampler. start() is of those only that keep their tables from frame to
// frame. The others' tables take a few hundredths of their time.
using Resampler = std::variant<std::monostate, PointSampler, Antialiased, OpencvLinear, Pillow>;

void emplaceResampler(Resampler& resampler, const TensorSpec& spec, const FrameView& frame,
                      const Geometry& geometry) {
  if (spec.resampling == Resampling::kAntialiased)
    resampler.emplace<Antialiased>(spec, frame, geometry);
  else if (spec.resampling == Resampling::kOpencvLinear)
    resampler.emplace<OpencvLinear>(spec, frame, geometry);
  else if (spec.resampling >= Resampling::kPillowBilinear)
    resampler.emplace<Pillow>(spec, frame, geometry);
  else
    resampler.emplace<PointSampler>(spec, frame, geometry);
}

bool overlaps(const void* a, std::size_t a_bytes, const void* b, std::size_t b_bytes) {
  const std::uintptr_t first = reinterpret_cast<std::uintptr_t>(a);
  const std::uintptr_t second = reinterpret_cast<std::uintptr_t>(b);
  return first < second + b_bytes && second < first + a_bytes;
}

// Whether the rows of a plane and the tensor share bytes. A plane's memory begins at its lowest row.
bool touchesPlane(const FrameView& frame, int plane, const void* tensor, std::size_t bytes) {
  const PlaneSize size = planeSize(frame, plane);
  const std::ptrdiff_t stride = frame.strides[plane], last = (size.rows - 1) * stride;
  const std::uint8_t* const first = static_cast<const std::uint8_t*>(frame.planes[plane]);
  const std::size_t row = static_cast<std::size_t>(size.columns) *
                          static_cast<std::size_t>(shapeOf(frame.format).pixel_bytes[plane]);
  return overlaps(stride < 0 ? first + last : first, static_cast<std::size_t>(std::abs(last)) + row,
                  tensor, bytes);
}

void checkTensor(const TensorSpec& spec, const FrameView& frame, std::size_t count, const void* tensor,
                 const char* name, std::size_t bytes) {
  const std::size_t needed = count * spec.bytes();
  if (count != 0 && needed / count != spec.bytes()) refuse("count", "as many tensors have no memory");
  if (needed == 0) return;
  if (tensor == nullptr) refuse(name, "is null");
  const std::size_t alignment = elementBytes(spec.type);
  if (reinterpret_cast<std::uintptr_t>(tensor) % alignment != 0)
    refuse(name,
           "does not start at a multiple of its elements' " + std::to_string(alignment) + " bytes");
  if (bytes < needed) refuse("bytes", std::to_string(bytes) + " do not hold " + std::to_string(needed));
  for (int plane = 0; plane < shapeOf(frame.format).planes; ++plane)
    if (touchesPlane(frame, plane, tensor, needed)) refuse(name, "overlaps the frame");
}

struct AlignedDelete {
  void operator()(std::uint8_t* block) const {
    ::operator delete (block, std::align_val_t{TarnCPU::kArrayAlignment});
  }
};

// What a resampler's tables depend on, besides its TensorSpec.
struct Job {
  FrameFormat format;
  int width, height, orientation;
  ChromaSiting siting;
  Geometry geometry;
};

bool same(const AxisGeometry& a, const AxisGeometry& b) {
  return a.start == b.start && a.size == b.size && a.scaled == b.scaled && a.cut == b.cut &&
         a.at == b.at && a.shown == b.shown;
}

bool same(const Job& a, const Job& b) {
  return a.format == b.format && a.width == b.width && a.height == b.height &&
         a.orientation == b.orientation && a.siting == b.siting && same(a.geometry.x, b.geometry.x) &&
         same(a.geometry.y, b.geometry.y);
}

}  // namespace

// Its functions stand in the class so that the library does not export them with the class around it.
struct Preprocessor::State {
  explicit State(const TensorSpec& wanted) : spec(wanted), writer_(wanted) {}

  // Memory for the tables and rows of a job, which is kept for later ones.
  void reserve(const FrameView& frame, const Geometry& geometry) {
    if (planned_ && same(*planned_, jobOf(frame, geometry))) return;
    planned_.reset();
    emplaceResampler(resampler_, spec, frame, geometry);
    withRows(frame, [&](auto& rows, bool by_columns) {
      TarnCPU::Arrays arrays(nullptr);
      writer_.begin(geometry, by_columns, nullptr);
      rows.take(arrays);
      writer_.take(arrays);
      if (arrays.bytes() <= block_bytes_) return;
      block_.reset();
      block_bytes_ = 0;
      block_.reset(static_cast<std::uint8_t*>(
          ::operator new (arrays.bytes(), std::align_val_t{TarnCPU::kArrayAlignment})));
      block_bytes_ = arrays.bytes();
    });
  }

  // Needs reserved memory, and cannot fail.
  void make(const FrameView& frame, const Geometry& geometry, void* tensor) {
    const Job job = jobOf(frame, geometry);
    const bool ready = planned_ && same(*planned_, job);
    if (!ready) emplaceResampler(resampler_, spec, frame, geometry);
    withRows(frame, [&](auto& rows, bool by_columns) {
      writer_.begin(geometry, by_columns, tensor);
      if (!ready) {
        TarnCPU::Arrays arrays(block_.get());
        rows.take(arrays);
        writer_.take(arrays);
        rows.begin();
      }
      if constexpr (std::decay_t<decltype(rows)>::kKeepsTables) {
        planned_ = job;
        rows.start(frame);
      }
      const int count = by_columns ? geometry.x.shown : geometry.y.shown;
      for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
        const float* colours[3] = {};
        rows.row(k, colours);
        writer_.put(k, colours);
      }
    });
  }

  const TensorSpec spec;

 private:
  static Job jobOf(const FrameView& frame, const Geometry& geometry) {
    return {frame.format, frame.width, frame.height, frame.orientation, frame.siting, geometry};
  }

  // Calls use(resampler_, whether it makes columns of the upright picture).
  template <class Use>
  void withRows(const FrameView& frame, const Use& use) {
    std::visit(
        [&](auto& rows) {
          using Rows = std::decay_t<decltype(rows)>;
          if constexpr (!std::is_same_v<Rows, std::monostate>)
            use(rows, !Rows::kUpright && turnOf(frame.orientation).swapped);
        },
        resampler_);
  }

  TensorWriter writer_;
  Resampler resampler_;
  std::optional<Job> planned_;  // whose tables the resampler_ has
  std::unique_ptr<std::uint8_t, AlignedDelete> block_;
  std::size_t block_bytes_ = 0;
};

Preprocessor::Preprocessor(const TensorSpec& spec) {
  checkSpec(spec);
  state_ = std::make_unique<State>(spec);
}

Preprocessor::~Preprocessor() = default;
Preprocessor::Preprocessor(Preprocessor&& other) noexcept = default;
Preprocessor& Preprocessor::operator=(Preprocessor&& other) noexcept = default;

const TensorSpec& Preprocessor::spec() const { return state_->spec; }

Placement Preprocessor::place(const FrameView& frame, Region region) const {
  checkFrame(frame);
  return placementOf(makeGeometry(state_->spec, frame, region), frame);
}

Placement Preprocessor::run(const FrameView& frame, void* tensor, std::size_t bytes, Region region) {
  checkFrame(frame);
  const Geometry geometry = makeGeometry(state_->spec, frame, region);
  checkTensor(state_->spec, frame, 1, tensor, "tensor", bytes);
  state_->reserve(frame, geometry);
  state_->make(frame, geometry, tensor);
  return placementOf(geometry, frame);
}

void Preprocessor::run(const FrameView& frame, const Region* regions, std::size_t count, void* batch,
                       std::size_t bytes, Placement* placements) {
  checkFrame(frame);
  if (count > 0 && regions == nullptr) refuse("regions", "is null");
  checkTensor(state_->spec, frame, count, batch, "batch", bytes);
  for (std::size_t i = 0; i < count; ++i) {
    try {
      state_->reserve(frame, makeGeometry(state_->spec, frame, regions[i]));
    } catch (const std::invalid_argument& fault) {
      refuse("regions[" + std::to_string(i) + "]", fault.what());
    }
  }
  std::uint8_t* tensor = static_cast<std::uint8_t*>(batch);
  for (std::size_t i = 0; i < count; ++i, tensor += state_->spec.bytes()) {
    const Geometry geometry = makeGeometry(state_->spec, frame, regions[i]);
    state_->make(frame, geometry, tensor);
    if (placements != nullptr) placements[i] = placementOf(geometry, frame);
  }
}

}  // namespace Tarn
