// Pipes read with poll(), so that no read blocks for longer than a tenth of a second.
#include "apps/video/pipe_input.h"

#if defined(_WIN32)

namespace tarnkit {

void ClosePipe::operator()(AVIOContext*) const {}

PipeInput openPipe(const std::string&) { return nullptr; }

}  // namespace tarnkit

#else

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <system_error>

#include "apps/support/failure.h"
#include "apps/support/interrupt.h"

namespace tarnkit {
namespace {

// A signal ends the wait by itself, unless it comes just before the wait or to another thread.
constexpr int kWaitMilliseconds = 100;
constexpr int kBufferSize = 1 << 16;

// FFmpeg hands the descriptor back as the pointer that it was given with.
void* asPointer(int descriptor) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor));
}

int asDescriptor(void* pointer) { return static_cast<int>(reinterpret_cast<std::intptr_t>(pointer)); }

int readBytes(void* opaque, std::uint8_t* bytes, int size) {
  const int descriptor = asDescriptor(opaque);
  while (interruptSignal() == 0) {
    pollfd waiting = {descriptor, POLLIN, 0};
    const int ready = poll(&waiting, 1, kWaitMilliseconds);
    if (ready == 0) continue;
    const auto got = ready < 0 ? -1 : read(descriptor, bytes, static_cast<std::size_t>(size));
    if (got > 0) return static_cast<int>(got);
    if (got == 0) return AVERROR_EOF;
    if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
  }
  return AVERROR_EXIT;
}

void closeDescriptor(int descriptor) {
  if (descriptor != STDIN_FILENO) close(descriptor);
}

}  // namespace

void ClosePipe::operator()(AVIOContext* context) const {
  closeDescriptor(asDescriptor(context->opaque));
  av_freep(&context->buffer);
  avio_context_free(&context);
}

PipeInput openPipe(const std::string& path) {
  std::error_code error;
  if (path != "-" && !std::filesystem::is_fifo(path, error)) return nullptr;
  // Opened to block, a named pipe would wait for its writer here, where no time limit applies.
  const int descriptor =
      path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) throw Failure(path, "cannot be read: " + errnoText(errno));
  unsigned char* const buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  AVIOContext* const context = buffer == nullptr
                                   ? nullptr
                                   : avio_alloc_context(buffer, kBufferSize, 0, asPointer(descriptor),
                                                        readBytes, nullptr, nullptr);
  if (context == nullptr) {
    av_free(buffer);
    closeDescriptor(descriptor);
    throw std::bad_alloc();
  }
  return PipeInput(context);
}

}  // namespace tarnkit

#endif
