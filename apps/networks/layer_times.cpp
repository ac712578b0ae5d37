// Median times of layers as an aligned table.
#include "apps/networks/layer_times.h"

#include <algorithm>
#include <cstdio>

#include "apps/output/stage_times.h"
#include "apps/support/failure.h"
#include "apps/support/size.h"

namespace tarnkit {
namespace {

constexpr double kBarLength = 30.0;

using Cells = std::vector<std::string>;

// Characters of UTF-8.
std::size_t shownWidth(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string decimal(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

// Columns two blanks apart: numbers to the right, the bar and words to the left.
std::string alignedRows(const std::vector<Cells>& rows, const std::vector<bool>& to_the_right) {
  std::vector<std::size_t> widths(to_the_right.size(), 0);
  for (const Cells& row : rows)
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], shownWidth(row[i]));
  std::string text;
  for (const Cells& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - shownWidth(row[i]), ' ');
      line += (i == 0 ? "" : "  ") + (to_the_right[i] ? padding + row[i] : row[i] + padding);
    }
    text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  return text;
}

}  // namespace

void LayerTimes::on_network(const TarnCPU::NetworkReport& report) { threads_ = report.threads; }

void LayerTimes::on_layer(const TarnCPU::LayerReport& report) {
  const auto is_same = [&](const Layer& layer) { return layer.report.index == report.index; };
  auto layer = std::find_if(layers_.begin(), layers_.end(), is_same);
  if (layer == layers_.end()) layer = layers_.insert(layer, {report, {}});
  layer->milliseconds.push_back(report.milliseconds);
}

std::string LayerTimes::table() const {
  std::vector<double> medians;
  double sum = 0.0;
  std::int64_t multiply_adds = 0, bytes = 0;
  for (const Layer& layer : layers_) {
    medians.push_back(percentile(layer.milliseconds, 50.0));
    sum += medians.back();
    multiply_adds += layer.report.multiply_adds;
    bytes += layer.report.parameter_bytes;
  }
  std::vector<Cells> rows = {{"index", "name", "type", "output", "weights", "multiply-adds",
                              "parameter bytes", "ms", "share", ""}};
  for (std::size_t i = 0; i < layers_.size(); ++i) {
    const TarnCPU::LayerReport& layer = layers_[i].report;
    const double share = sum > 0.0 ? medians[i] / sum : 0.0;
    rows.push_back({std::to_string(layer.index), onOneLine(layer.name), onOneLine(layer.type),
                    shapeText(layer.output_shape),
                    layer.has_weights ? TarnCPU::to_string(layer.precision) : "-",
                    std::to_string(layer.multiply_adds), std::to_string(layer.parameter_bytes),
                    decimal("%.3f", medians[i]), decimal("%.1f %%", 100.0 * share),
                    std::string(static_cast<std::size_t>(share * kBarLength + 0.5), '#')});
  }
  rows.push_back({"", "total", "", "", "", std::to_string(multiply_adds), std::to_string(bytes),
                  decimal("%.3f", sum), "",
                  "threads: " + std::to_string(threads_) + ", runs: " +
                      std::to_string(layers_.empty() ? 0 : layers_[0].milliseconds.size())});
  return alignedRows(rows, {true, false, false, false, false, true, true, true, true, false});
}

}  // namespace tarnkit
