// What a network's layers take, over several runs.
#ifndef TN_KITS_APPS_NETWORKS_LAYER_TIMES_H_
#define TN_KITS_APPS_NETWORKS_LAYER_TIMES_H_

#include <string>
#include <vector>

#include "tn_statistician.h"

namespace tarnkit {

// Is to be told about runs of one network, all up to the same layer.
class LayerTimes final : public TarnCPU::Statistician {
 public:
  void on_network(const TarnCPU::NetworkReport& report) override;
  void on_layer(const TarnCPU::LayerReport& report) override;

  // One line a layer with its median time and a bar as long as its share of the sum; then the totals.
  std::string table() const;

 private:
  struct Layer {
    TarnCPU::LayerReport report;
    std::vector<double> milliseconds;
  };
  int threads_ = 0;
  std::vector<Layer> layers_;
};

}  // namespace tarnkit

#endif  // TN_KITS_APPS_NETWORKS_LAYER_TIMES_H_
