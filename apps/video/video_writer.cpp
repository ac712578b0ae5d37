// Encoding and muxing by FFmpeg into fragments of one frame each.
#include "apps/video/video_writer.h"

#include <exception>

#include "apps/output/output_file.h"
#include "apps/support/failure.h"
#include "apps/video/picture_converter.h"

namespace tarnkit {
namespace {

// The write callback's signature changed between FFmpeg 6 and 7.
#if LIBAVFORMAT_VERSION_MAJOR < 61
using WrittenBytes = std::uint8_t;
#else
using WrittenBytes = const std::uint8_t;
#endif

AVColorSpace tagOf(Tarn::YuvStandard standard) {
  switch (standard) {
    case Tarn::YuvStandard::kBt709:
      return AVCOL_SPC_BT709;
    case Tarn::YuvStandard::kBt2020:
      return AVCOL_SPC_BT2020_NCL;
    case Tarn::YuvStandard::kBt601:
      break;
  }
  return AVCOL_SPC_SMPTE170M;
}

const AVCodec* findEncoder() {
  // By name: what else registers for H.264 wants special hardware and fails where there is none.
  for (const char* name : {"libx264", "libopenh264", "mpeg4"})
    if (const AVCodec* const codec = avcodec_find_encoder_by_name(name)) return codec;
  return nullptr;
}

struct FreeOutput {
  void operator()(AVFormatContext* context) const {
    if (context->pb != nullptr) {
      av_freep(&context->pb->buffer);
      avio_context_free(&context->pb);
    }
    avformat_free_context(context);
  }
};

}  // namespace

struct VideoWriter::Impl {
  std::string name;
  OutputFile file;
  std::exception_ptr write_error;  // what a write threw: it must not pass through FFmpeg's C code
  std::unique_ptr<AVFormatContext, FreeOutput> output;
  FfmpegPointer<AVCodecContext> encoder;
  FfmpegPointer<AVPacket> packet = owned(av_packet_alloc());
  PictureConverter converter;
  AVStream* stream = nullptr;
  std::int64_t frames = 0;
  bool open = false;

  Impl(const std::string& path, const VideoInfo& info)
      : name(path),
        file(path),
        converter({AV_PIX_FMT_BGR24, info.width, info.height},
                  {AV_PIX_FMT_YUV420P, info.width, info.height}, info.colour) {}

  static int writeBytes(void* opaque, WrittenBytes* bytes, int size);
  void openEncoder(const VideoInfo& info);
  void openOutput();
  void check(int result, const char* what) const;
  void flush();
  void encode(const AVFrame* picture);
  void close();
};

int VideoWriter::Impl::writeBytes(void* opaque, WrittenBytes* bytes, int size) {
  Impl* const impl = static_cast<Impl*>(opaque);
  if (impl->write_error) return AVERROR_EXTERNAL;
  try {
    impl->file.write(bytes, static_cast<std::size_t>(size));
  } catch (...) {
    impl->write_error = std::current_exception();
    return AVERROR_EXTERNAL;
  }
  return size;
}

void VideoWriter::Impl::check(int result, const char* what) const {
  if (write_error) std::rethrow_exception(write_error);
  if (result < 0) throw Failure(name, std::string(what) + ": " + ffmpegErrorText(result));
}

// Everything given to the muxer reaches the file. All that it hands out are whole fragments.
void VideoWriter::Impl::flush() {
  avio_flush(output->pb);
  check(0, "");
  file.markComplete();
}

void VideoWriter::Impl::openEncoder(const VideoInfo& info) {
  const AVCodec* const codec = findEncoder();
  if (codec == nullptr) throw Failure(name, "this FFmpeg has no encoder for MP4 video");
  encoder = owned(avcodec_alloc_context3(codec));
  encoder->width = info.width;
  encoder->height = info.height;
  encoder->pix_fmt = AV_PIX_FMT_YUV420P;
  encoder->framerate = {info.rate_num, info.rate_den};
  encoder->time_base = {info.rate_den, info.rate_num};
  encoder->colorspace = tagOf(info.colour.standard);
  encoder->color_range =
      info.colour.range == Tarn::YuvRange::kFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
  encoder->gop_size = 50;
  // Frames in display order: a fragmented file has no place for the shift that reordering needs.
  encoder->max_b_frames = 0;
  encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "preset", "veryfast", 0);
  av_dict_set(&options, "crf", "20", 0);
  if (std::string(codec->name) != "libx264") encoder->bit_rate = 4000000;
  const int result = avcodec_open2(encoder.get(), codec, &options);
  av_dict_free(&options);
  check(result, "the encoder refuses the picture size or rate");
}

void VideoWriter::Impl::openOutput() {
  AVFormatContext* context = nullptr;
  check(avformat_alloc_output_context2(&context, nullptr, "mp4", nullptr), "no MP4 writer");
  output.reset(context);
  constexpr int kBufferSize = 1 << 16;
  unsigned char* const buffer = static_cast<unsigned char*>(av_malloc(kBufferSize));
  if (buffer == nullptr) throw std::bad_alloc();
  context->pb = avio_alloc_context(buffer, kBufferSize, 1, this, nullptr, writeBytes, nullptr);
  if (context->pb == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  stream = avformat_new_stream(context, nullptr);
  if (stream == nullptr) throw std::bad_alloc();
  stream->time_base = encoder->time_base;
  stream->avg_frame_rate = encoder->framerate;
  check(avcodec_parameters_from_context(stream->codecpar, encoder.get()), "cannot be written");
  AVDictionary* options = nullptr;
  av_dict_set(&options, "movflags", "empty_moov+default_base_moof+frag_every_frame", 0);
  const int result = avformat_write_header(context, &options);
  av_dict_free(&options);
  check(result, "cannot be written");
  flush();
  open = true;
}

// picture: null to flush the encoder.
void VideoWriter::Impl::encode(const AVFrame* picture) {
  check(avcodec_send_frame(encoder.get(), picture), "cannot be encoded");
  for (;;) {
    const int received = avcodec_receive_packet(encoder.get(), packet.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return;
    check(received, "cannot be encoded");
    packet->stream_index = stream->index;
    packet->duration = 1;
    av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
    check(av_write_frame(output.get(), packet.get()), "cannot be written");
    av_packet_unref(packet.get());
    flush();
  }
}

void VideoWriter::Impl::close() {
  open = false;
  encode(nullptr);
  check(av_write_trailer(output.get()), "cannot be written");
  flush();
  file.close();
}

VideoWriter::VideoWriter(const std::string& path, const VideoInfo& info)
    : impl_(std::make_unique<Impl>(path, info)) {
  impl_->openEncoder(info);
  impl_->openOutput();
}

VideoWriter::~VideoWriter() {
  if (!impl_->open || impl_->write_error) return;
  try {
    impl_->close();
  } catch (...) {
    // Whatever led here is being reported already; the frames written before stay playable.
  }
}

void VideoWriter::write(const cv::Mat& bgr) {
  const std::uint8_t* const planes[4] = {bgr.data, nullptr, nullptr, nullptr};
  const int strides[4] = {static_cast<int>(bgr.step[0]), 0, 0, 0};
  AVFrame* const picture = impl_->converter.convert(planes, strides);
  picture->pts = impl_->frames++;
  impl_->encode(picture);
}

void VideoWriter::close() { impl_->close(); }

}  // namespace tarnkit
