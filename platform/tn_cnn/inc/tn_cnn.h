/// \file
/// The network library: tensors, byte resizers, networks and their inference configs.
#ifndef TN_CNN_H_
#define TN_CNN_H_

#include "tn_inference_config.h"
#include "tn_mat.h"
#include "tn_net.h"
#include "tn_resize.h"
#include "tn_statistician.h"

#endif  // TN_CNN_H_
