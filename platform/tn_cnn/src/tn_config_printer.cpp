// Writes inference configs; the reader is in tn_inference_config.cpp.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "platform/tn_cnn/src/tn_config_text.h"
#include "tn_statistician.h"

namespace TarnCPU {
namespace {

// The number of characters, for aligned columns; the text counts as UTF-8.
std::size_t shownWidth(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

enum class Align { kLeft, kRight };

struct Column {
  const char* title;
  Align align;
};

// The first kSettings columns are settings, the others a comment.
constexpr Column kColumns[] = {
    {"name", Align::kLeft},           {"weights", Align::kLeft},          {"index", Align::kRight},
    {"type", Align::kLeft},           {"output", Align::kLeft},           {"ms", Align::kRight},
    {"multiply-adds", Align::kRight}, {"parameter bytes", Align::kRight},
};
constexpr std::size_t kColumnCount = std::size(kColumns), kSettings = 2;

using Cells = std::vector<std::string>;

std::string joinShape(const std::vector<int>& shape) {
  std::string text;
  for (const int size : shape) text += (text.empty() ? "" : "x") + std::to_string(size);
  return text.empty() ? "-" : text;
}

std::string showMilliseconds(double milliseconds) {
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", milliseconds);
  return text;
}

Cells cellsOf(const LayerReport& layer) {
  return {quoteName(layer.name),
          layer.has_weights ? to_string(layer.precision) : kNoWeights,
          std::to_string(layer.index),
          withoutControls(layer.type),  // a line break would end the comment
          joinShape(layer.output_shape),
          showMilliseconds(layer.milliseconds),
          std::to_string(layer.multiply_adds),
          std::to_string(layer.parameter_bytes)};
}

std::string alignedLine(const char* start, const Cells& cells, const std::vector<std::size_t>& widths) {
  std::string line = start;
  for (std::size_t i = 0; i < kColumnCount; ++i) {
    if (i != 0) line += i == kSettings ? "  # " : "  ";
    const std::string padding(widths[i] - shownWidth(cells[i]), ' ');
    line += kColumns[i].align == Align::kLeft ? cells[i] + padding : padding + cells[i];
  }
  return line + "\n";
}

std::string layerTable(const std::vector<LayerReport>& layers) {
  std::vector<Cells> rows = {{}};
  for (const Column& column : kColumns) rows.front().emplace_back(column.title);
  for (const LayerReport& layer : layers) rows.push_back(cellsOf(layer));
  std::vector<std::size_t> widths(kColumnCount, 0);
  for (const Cells& row : rows)
    for (std::size_t i = 0; i < kColumnCount; ++i) widths[i] = std::max(widths[i], shownWidth(row[i]));
  std::string text;
  for (const Cells& row : rows)
    text += alignedLine(&row == rows.data() ? "#     " : "layer ", row, widths);
  return text;
}

}  // namespace

struct ConfigPrinter::Notes {
  bool header = false, tail = false, has_network = false;
  NetworkReport network;
  std::vector<LayerReport> layers;
};

ConfigPrinter::ConfigPrinter() : notes_(new Notes) {}
ConfigPrinter::~ConfigPrinter() { delete notes_; }

void ConfigPrinter::add_header() { notes_->header = true; }
void ConfigPrinter::add_tail() { notes_->tail = true; }

void ConfigPrinter::on_network(const NetworkReport& report) {
  notes_->network = report;
  notes_->has_network = true;
}

void ConfigPrinter::on_layer(const LayerReport& report) { notes_->layers.push_back(report); }

std::string ConfigPrinter::get_config_string() const {
  const Notes& notes = *notes_;
  std::string text;
  if (notes.header)
    text +=
        std::string(kConfigFormat) +
        "\n# Weights can be f32, f16 or bf16; - marks a layer that has none. The rest of a line from "
        "# on is not read.\n\n";
  if (notes.has_network)
    text += "threads " +
            (notes.network.configured_threads == 0 ? kAutoThreads
                                                   : std::to_string(notes.network.configured_threads)) +
            "  # measured with " + std::to_string(notes.network.threads) + "\n\n";
  if (!notes.layers.empty()) text += layerTable(notes.layers);
  if (notes.tail) {
    double milliseconds = 0.0;
    std::int64_t multiply_adds = 0, bytes = 0;
    for (const LayerReport& layer : notes.layers) {
      milliseconds += layer.milliseconds;
      multiply_adds += layer.multiply_adds;
      bytes += layer.parameter_bytes;
    }
    text += "# total: layers " + std::to_string(notes.layers.size()) + ", ms " +
            showMilliseconds(milliseconds) + ", multiply-adds " + std::to_string(multiply_adds) +
            ", parameter bytes " + std::to_string(bytes) + "\n";
  }
  return text;
}

Statistician::~Statistician() = default;
void Statistician::on_network(const NetworkReport&) {}

}  // namespace TarnCPU
