// The Kalman filter: a fast path for the sizes of the box tracker, and Eigen's products for all others.
#include "tn_kalmanfilter.h"

#include <utility>

#include "common/tn_check.h"
#include "tarnkit/src/tracking/tn_boxkalmanfilter.h"

namespace Tarn {

using Eigen::Index;
using Eigen::MatrixXf;

namespace {

// The sizes of the box tracker's filter, which the fast path is for.
constexpr int kStates = 12;
constexpr int kMeasured = 4;

template <int Rows, int Cols>
using Fixed = Eigen::Map<Eigen::Matrix<float, Rows, Cols>, Eigen::Aligned16>;
template <int Rows, int Cols>
using ConstFixed = Eigen::Map<const Eigen::Matrix<float, Rows, Cols>, Eigen::Aligned16>;

template <int Rows, int Cols>
bool hasSize(const MatrixXf& matrix) {
  return matrix.rows() == Rows && matrix.cols() == Cols;
}

template <int Rows, int Cols>
Fixed<Rows, Cols> fixed(MatrixXf& matrix) {
  return Fixed<Rows, Cols>(matrix.data());
}

template <int Rows, int Cols>
ConstFixed<Rows, Cols> constFixed(const MatrixXf& matrix) {
  return ConstFixed<Rows, Cols>(matrix.data());
}

// Column j of a * b, summed from zero in ascending order of the inner index. For small matrices this is
// several times faster than Eigen's product, which packs its operands into blocks.
template <class A, class B>
Eigen::Matrix<float, A::RowsAtCompileTime, 1> productColumn(const A& a, const B& b, Index j) {
  using Column = Eigen::Matrix<float, A::RowsAtCompileTime, 1>;
  Column sum = Column::Zero() + a.col(0) * b(0, j);
  for (Index k = 1; k < A::ColsAtCompileTime; ++k) sum += a.col(k) * b(k, j);
  return sum;
}

template <class A, class B, class Result>
void setToProduct(Result result, const A& a, const B& b) {
  for (Index j = 0; j < B::ColsAtCompileTime; ++j) result.col(j) = productColumn(a, b, j);
}

template <class A, class B, class C, class Result>
void setToProductPlus(Result result, const A& a, const B& b, const C& c) {
  for (Index j = 0; j < B::ColsAtCompileTime; ++j) result.col(j) = productColumn(a, b, j) + c.col(j);
}

template <class C, class A, class B, class Result>
void setToMinusProduct(Result result, const C& c, const A& a, const B& b) {
  for (Index j = 0; j < B::ColsAtCompileTime; ++j) result.col(j) = c.col(j) - productColumn(a, b, j);
}

}  // namespace

KalmanFilter::KalmanFilter(int DP, int MP, int CP) {
  TN_CHECK(DP > 0 && MP > 0);
  predictedState = MatrixXf::Zero(DP, 1);
  correctedState = MatrixXf::Zero(DP, 1);
  transition = MatrixXf::Identity(DP, DP);
  processNoiseCov = MatrixXf::Identity(DP, DP);
  measurement = MatrixXf::Zero(MP, DP);
  measurementNoiseCov = MatrixXf::Identity(MP, MP);
  predictedErrorCov = MatrixXf::Zero(DP, DP);
  correctedErrorCov = MatrixXf::Zero(DP, DP);
  gain = MatrixXf::Zero(DP, MP);
  if (CP > 0) control = MatrixXf::Zero(DP, CP);
  scratchFP = MatrixXf::Zero(DP, DP);
  scratchHP = MatrixXf::Zero(MP, DP);
  innovationCov = MatrixXf::Zero(MP, MP);
  gainTransposed = MatrixXf::Zero(MP, DP);
  innovation = MatrixXf::Zero(MP, 1);
}

void KalmanFilter::init(int DP, int MP, int CP) {
  // Not member by member: Eigen leaves a matrix that could not be resized with a pointer to freed
  // memory.
  KalmanFilter fresh(DP, MP, CP);
  if (CP <= 0) fresh.control = std::move(control);
  *this = std::move(fresh);
}

const MatrixXf& KalmanFilter::predict() {
  constexpr int N = kStates;
  // The owner may have resized any member. Wrong sizes go to Eigen's products, which have assertions.
  if (hasSize<N, 1>(predictedState) && hasSize<N, 1>(correctedState) && hasSize<N, N>(transition) &&
      hasSize<N, N>(processNoiseCov) && hasSize<N, N>(predictedErrorCov) &&
      hasSize<N, N>(correctedErrorCov) && hasSize<N, N>(scratchFP)) {
    const auto F = constFixed<N, N>(transition);
    setToProduct(fixed<N, 1>(predictedState), F, constFixed<N, 1>(correctedState));
    setToProduct(fixed<N, N>(scratchFP), F, constFixed<N, N>(correctedErrorCov));
    setToProductPlus(fixed<N, N>(predictedErrorCov), constFixed<N, N>(scratchFP), F.transpose(),
                     constFixed<N, N>(processNoiseCov));
    fixed<N, 1>(correctedState) = constFixed<N, 1>(predictedState);
    fixed<N, N>(correctedErrorCov) = constFixed<N, N>(predictedErrorCov);
    return predictedState;
  }
  predictedState.noalias() = transition * correctedState;
  scratchFP.noalias() = transition * correctedErrorCov;
  predictedErrorCov = scratchFP * transition.transpose() + processNoiseCov;
  correctedState = predictedState;
  correctedErrorCov = predictedErrorCov;
  return predictedState;
}

void correctBySize(KalmanFilter& filter, const float* measured) {
  constexpr int N = kStates;
  constexpr int M = kMeasured;
  const auto H = constFixed<M, N>(filter.measurement);
  const auto P = constFixed<N, N>(filter.predictedErrorCov);
  const auto x = constFixed<N, 1>(filter.predictedState);
  const auto HP = constFixed<M, N>(filter.scratchHP);
  const auto K = constFixed<N, M>(filter.gain);
  setToProduct(fixed<M, N>(filter.scratchHP), H, P);
  setToProductPlus(fixed<M, M>(filter.innovationCov), HP, H.transpose(),
                   constFixed<M, M>(filter.measurementNoiseCov));
  // Not inverse(): for fixed 4 x 4 matrices that uses cofactors, which round differently and find other
  // matrices singular.
  const Eigen::Matrix4f inverse = constFixed<M, M>(filter.innovationCov).partialPivLu().inverse();
  setToProduct(fixed<M, N>(filter.gainTransposed), inverse, HP);
  fixed<N, M>(filter.gain) = constFixed<M, N>(filter.gainTransposed).transpose();
  setToMinusProduct(fixed<M, 1>(filter.innovation),
                    Eigen::Map<const Eigen::Matrix<float, M, 1>>(measured), H, x);
  setToProductPlus(fixed<N, 1>(filter.correctedState), K, constFixed<M, 1>(filter.innovation), x);
  setToMinusProduct(fixed<N, N>(filter.correctedErrorCov), P, K, HP);
}

const MatrixXf& KalmanFilter::correct(MatrixXf measurementVector) {
  constexpr int N = kStates;
  constexpr int M = kMeasured;
  if (measurementVector.rows() == M && measurementVector.cols() == 1 && hasSize<N, 1>(predictedState) &&
      hasSize<N, 1>(correctedState) && hasSize<M, N>(measurement) &&
      hasSize<M, M>(measurementNoiseCov) && hasSize<N, N>(predictedErrorCov) && hasSize<N, M>(gain) &&
      hasSize<N, N>(correctedErrorCov) && hasSize<M, N>(scratchHP) && hasSize<M, M>(innovationCov) &&
      hasSize<M, N>(gainTransposed) && hasSize<M, 1>(innovation)) {
    correctBySize(*this, measurementVector.data());
    return correctedState;
  }
  scratchHP.noalias() = measurement * predictedErrorCov;
  innovationCov = scratchHP * measurement.transpose() + measurementNoiseCov;
  gainTransposed.noalias() = innovationCov.inverse() * scratchHP;
  gain = gainTransposed.transpose();
  innovation = measurementVector - measurement * predictedState;
  const MatrixXf state = predictedState + gain * innovation;
  // The state is assigned last: if memory runs out before, the corrected pair is as it was.
  correctedErrorCov = predictedErrorCov - gain * scratchHP;
  correctedState = state;
  return correctedState;
}

}  // namespace Tarn
