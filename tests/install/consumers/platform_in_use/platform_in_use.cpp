// Logs a line and makes a tensor: the platform that does it shows by how the line looks.
#include <tn_cnn.h>
#include <tn_core.h>

int main() {
  const TarnCPU::Mat tensor(4, 3, 2);
  Tarn::_LogError("consumer", "%d x %d x %d floats", tensor.c, tensor.h, tensor.w);
}
