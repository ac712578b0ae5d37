// Kalman filters of any size with any numbers at all, for what the sanitizers see; and what init, copies
// and results promise whatever the numbers are.
#include "fuzz/fuzz_input.h"
#include "tn_kalmanfilter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Eigen::MatrixXf;
  using Tarn::KalmanFilter;
  tn_fuzz::FuzzInput input(data, size);
  // Often the sizes of the fast path.
  const bool fast = input.coin();
  const int DP = fast ? 12 : input.between(1, 15), MP = fast ? 4 : input.between(1, 9);
  KalmanFilter first(input.between(1, 15), input.between(1, 9), input.between(-1, 3));
  if (input.coin()) first.predict();
  first.init(DP, MP, input.between(-1, 3));

  KalmanFilter filter = first;
  for (MatrixXf* const m : {&filter.transition, &filter.measurement, &filter.processNoiseCov,
                            &filter.measurementNoiseCov, &filter.correctedState})
    for (Eigen::Index i = 0; i < m->size(); ++i) (*m)(i) = input.real();
  MatrixXf z(MP, 1);
  for (int step = input.between(0, 12); step > 0; --step) {
    if (input.coin()) FUZZ_CHECK(&filter.predict() == &filter.predictedState);
    for (Eigen::Index i = 0; i < z.size(); ++i) z(i) = input.real();
    if (input.coin()) FUZZ_CHECK(&filter.correct(z) == &filter.correctedState);
  }
  // Copies are deep.
  FUZZ_CHECK(first.correctedState.isZero(0.0f) && first.transition == MatrixXf::Identity(DP, DP));
  return 0;
}
