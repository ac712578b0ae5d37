// Kalman filters of any size: beside the textbook form where the numbers are good, and with any numbers
// at all for what the sanitizers see.
#include "fuzz/fuzz_input.h"
#include "tests/reference/plain_kalman.h"
#include "tn_kalmanfilter.h"

namespace {

using Eigen::MatrixXf;
using Tarn::KalmanFilter;
using tn_fuzz::FuzzInput;

MatrixXf matrix(FuzzInput& input, int rows, int cols) {
  MatrixXf result(rows, cols);
  for (Eigen::Index i = 0; i < result.size(); ++i) result(i) = input.fraction();
  return result;
}

// Identity and more, symmetric and positive: nothing that is divided by comes near zero.
MatrixXf covariance(FuzzInput& input, int size) {
  const MatrixXf root = matrix(input, size, size);
  return MatrixXf::Identity(size, size) + root * root.transpose();
}

// Does not make numbers grow.
MatrixXf tameTransition(FuzzInput& input, int size) {
  const MatrixXf any = matrix(input, size, size);
  return any / std::max(1.0f, any.cwiseAbs().rowwise().sum().maxCoeff());
}

void tame(FuzzInput& input, KalmanFilter& filter, int DP, int MP) {
  filter.transition = tameTransition(input, DP);
  filter.measurement = matrix(input, MP, DP);
  filter.processNoiseCov = covariance(input, DP);
  filter.measurementNoiseCov = covariance(input, MP);
  filter.correctedState = matrix(input, DP, 1);
  tn_test::PlainKalman plain(filter);
  for (int step = 0; step < 10; ++step) {
    filter.predict();
    plain.predict();
    if (input.byte() % 4 != 0) {
      const MatrixXf z = matrix(input, MP, 1);
      filter.correct(z);
      plain.correct(z.cast<double>());
    }
    // Entries up to some hundreds, condition numbers up to some thousands, roundings of 6e-8.
    const auto near = [](const MatrixXf& got, const Eigen::MatrixXd& expected) {
      return (got.cast<double>() - expected).cwiseAbs().maxCoeff() <=
             1e-2 * std::max(1.0, expected.cwiseAbs().maxCoeff());
    };
    FUZZ_CHECK(near(filter.correctedState, plain.state));
    FUZZ_CHECK(near(filter.correctedErrorCov, plain.covariance));
  }
}

void wild(FuzzInput& input, KalmanFilter& filter, int MP) {
  for (MatrixXf* const m : {&filter.transition, &filter.measurement, &filter.processNoiseCov,
                            &filter.measurementNoiseCov, &filter.correctedState})
    for (Eigen::Index i = 0; i < m->size(); ++i) (*m)(i) = input.real();
  MatrixXf z(MP, 1);
  for (int step = input.between(0, 12); step > 0; --step) {
    if (input.coin()) filter.predict();
    for (Eigen::Index i = 0; i < z.size(); ++i) z(i) = input.real();
    if (input.coin()) FUZZ_CHECK(&filter.correct(z) == &filter.correctedState);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  // Often the sizes of the fast way.
  const bool fast = input.coin();
  const int DP = fast ? 12 : input.between(1, 15), MP = fast ? 4 : input.between(1, 9);
  KalmanFilter first(input.between(1, 15), input.between(1, 9), input.between(-1, 3));
  if (input.coin()) first.predict();
  first.init(DP, MP, input.between(-1, 3));
  KalmanFilter filter = first;
  if (input.coin())
    tame(input, filter, DP, MP);
  else
    wild(input, filter, MP);
  // Copies are deep.
  FUZZ_CHECK(first.correctedState.isZero(0.0f) && first.transition == MatrixXf::Identity(DP, DP));
  return 0;
}
