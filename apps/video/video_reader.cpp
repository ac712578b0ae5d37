// Demuxing and decoding by FFmpeg, and packing into NV12.
#include "apps/video/video_reader.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <vector>

#include "apps/support/failure.h"
#include "apps/support/interrupt.h"
#include "apps/video/next_picture.h"
#include "apps/video/pipe_input.h"
#include "tn_extents.h"
#include "tn_preprocess_ffmpeg.h"

namespace tarnkit {
namespace {

struct CloseInput {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

int stopReading(void*) { return interruptSignal() != 0 ? 1 : 0; }

// FFmpeg takes whatever stands before a colon for a protocol; a file of such a name is still a file.
std::string urlOf(const std::string& path) {
  if (path == "-") return "pipe:0";
  std::error_code error;
  return std::filesystem::exists(path, error) ? "file:" + path : path;
}

bool isGrey(AVPixelFormat format) {
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  return description != nullptr && description->nb_components < 3 && !isRgb(format);
}

// Formats whose samples FFmpeg takes for full-range whatever their tag.
bool isFullRangeFormat(AVPixelFormat format) {
  return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P ||
         format == AV_PIX_FMT_YUVJ444P || format == AV_PIX_FMT_YUVJ440P ||
         format == AV_PIX_FMT_YUVJ411P || isGrey(format);
}

YuvColour colourOf(const AVFrame& frame) {
  using Tarn::YuvRange;
  using Tarn::YuvStandard;
  YuvColour colour;
  colour.standard = standardByRows(frame.height);
  const AVPixelFormat format = static_cast<AVPixelFormat>(frame.format);
  if (isRgb(format)) return colour;
  switch (frame.colorspace) {
    case AVCOL_SPC_BT709:
      colour.standard = YuvStandard::kBt709;
      break;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      colour.standard = YuvStandard::kBt601;
      break;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL:
      colour.standard = YuvStandard::kBt2020;
      break;
    default:
      break;
  }
  if (frame.color_range == AVCOL_RANGE_JPEG || isFullRangeFormat(format)) colour.range = YuvRange::kFull;
  return colour;
}

// Of the frame's own display matrix, else its stream's; 0 for no right angle.
int orientationOfVideo(const AVStream& stream, const AVFrame& frame) {
  const std::uint8_t* matrix = nullptr;
  if (const AVFrameSideData* const own = av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX)) {
    matrix = own->data;
  } else {
#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(60, 31, 100)
    const AVPacketSideData* const data =
        av_packet_side_data_get(stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data,
                                AV_PKT_DATA_DISPLAYMATRIX);
    if (data != nullptr) matrix = data->data;
#else
    matrix = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr);
#endif
  }
  if (matrix == nullptr) return 1;
  std::int32_t numbers[9];
  std::memcpy(numbers, matrix, sizeof(numbers));
  try {
    return Tarn::orientationOf(numbers);
  } catch (const std::invalid_argument&) {
    return 0;
  }
}

}  // namespace

struct VideoReader::Impl {
  std::string name;
  PipeInput pipe;  // outlives `input`, which reads from it
  std::unique_ptr<AVFormatContext, CloseInput> input;
  FfmpegPointer<AVCodecContext> decoder;
  FfmpegPointer<AVPacket> packet = owned(av_packet_alloc());
  FfmpegPointer<AVFrame> decoded = owned(av_frame_alloc());
  std::optional<PictureConverter> converter;
  AVPixelFormat converter_pixels = AV_PIX_FMT_NONE;
  int converter_width = 0, converter_height = 0;
  std::vector<std::uint8_t> packed;
  VideoInfo info = {};
  int stream_index = -1;
  std::int64_t damaged = 0;
  int read_error = 0;        // FFmpeg's, of the read that ended the video before its end
  bool at_end = false;       // every packet has gone to the decoder
  bool has_first = false;    // the first frame was decoded and `info` filled
  bool first_waits = false;  // `decoded` holds the first frame, not handed out yet

  void open(const std::string& path);
  void openDecoder();
  void describe();
  void decodeFirst();
  bool decodeNext();
  Answer ask();
  bool feed();
  [[noreturn]] void refuse(const std::string& fault) const;
  void requireWhole() const;
  void pack();
  _TN_Image record() { return {0, TN_PIX_FMT_NV12, info.width, info.height, 0, packed.data()}; }
};

// Whatever FFmpeg makes of a file whose reading was interrupted is no fault of the file.
void VideoReader::Impl::refuse(const std::string& fault) const {
  throw Failure(name, interruptSignal() != 0 ? "interrupted" : fault);
}

void VideoReader::Impl::requireWhole() const {
  if (read_error != 0) refuse("cannot be read on: " + ffmpegErrorText(read_error));
}

void VideoReader::Impl::open(const std::string& path) {
  name = path == "-" ? "standard input" : path;
  pipe = openPipe(path);
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  context->interrupt_callback.callback = stopReading;
  context->pb = pipe.get();
  const int error = avformat_open_input(&context, urlOf(path).c_str(), nullptr, nullptr);
  if (error == AVERROR_INVALIDDATA) refuse("is not a video in any known format");
  if (error < 0) refuse("cannot be read: " + ffmpegErrorText(error));
  input.reset(context);
  // This demuxer draws any file named .txt as characters on a screen: notes are not a video.
  if (std::strcmp(input->iformat->name, "tty") == 0)
    throw Failure(name, "is not a video in any known format");
  openDecoder();
}

void VideoReader::Impl::openDecoder() {
  const int probed = avformat_find_stream_info(input.get(), nullptr);
  if (probed < 0) refuse("is not a video: " + ffmpegErrorText(probed));
  // FFmpeg 4 takes the decoder by pointer to non-const: the one difference between its versions here.
  const AVCodec* codec = nullptr;
#if LIBAVFORMAT_VERSION_MAJOR < 59
  AVCodec* found = nullptr;
  stream_index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &found, 0);
  codec = found;
#else
  stream_index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
#endif
  if (stream_index == AVERROR_DECODER_NOT_FOUND)
    refuse("is coded in a way that this FFmpeg cannot decode");
  if (stream_index < 0 || codec == nullptr) refuse("holds no video");
  const AVStream* const stream = input->streams[stream_index];
  decoder = owned(avcodec_alloc_context3(codec));
  decoder->thread_count = 0;  // as many as the machine has processors
  decoder->pkt_timebase = stream->time_base;
  int error = avcodec_parameters_to_context(decoder.get(), stream->codecpar);
  if (error >= 0) error = avcodec_open2(decoder.get(), codec, nullptr);
  if (error < 0) throw Failure(name, "cannot be decoded: " + ffmpegErrorText(error));
}

// Fills `info` from the stream and the first decoded frame.
void VideoReader::Impl::describe() {
  AVStream* const stream = input->streams[stream_index];
  info.width = decoded->width & ~1;
  info.height = decoded->height & ~1;
  if (info.width < 2 || info.height < 2) throw Failure(name, "has frames smaller than 2x2 pixels");
  const AVRational rate = av_guess_frame_rate(input.get(), stream, nullptr);
  const bool plausible = rate.num > 0 && rate.den > 0 && av_q2d(rate) >= 0.1 && av_q2d(rate) <= 1000.0;
  info.rate_num = plausible ? rate.num : 25;
  info.rate_den = plausible ? rate.den : 1;
  info.frames_expected = stream->nb_frames;
  if (info.frames_expected <= 0)  // a duration, which is rounded up or down, may say it
    info.frames_expected =
        plausible && input->duration > 0
            ? std::llround(static_cast<double>(input->duration) / AV_TIME_BASE * info.fps())
            : 0;
  info.colour = colourOf(*decoded);
  info.orientation = orientationOfVideo(*stream, *decoded);
}

// Gives the decoder one more packet, or tells it that there are none. False if it was told so before,
// and when reading was stopped.
bool VideoReader::Impl::feed() {
  if (at_end) return false;
  const int read = av_read_frame(input.get(), packet.get());
  if (interruptSignal() != 0) return false;
  if (read < 0) {
    // The pictures that the decoder still holds are as good as the ones before.
    read_error = read == AVERROR_EOF ? 0 : read;
    at_end = true;
    avcodec_send_packet(decoder.get(), nullptr);
    return true;
  }
  if (packet->stream_index == stream_index && avcodec_send_packet(decoder.get(), packet.get()) < 0)
    ++damaged;
  av_packet_unref(packet.get());
  return true;
}

Answer VideoReader::Impl::ask() {
  const int received = avcodec_receive_frame(decoder.get(), decoded.get());
  if (received >= 0) return Answer::kPicture;
  if (received == AVERROR_EOF) return Answer::kEnd;
  return received == AVERROR(EAGAIN) ? Answer::kWantsInput : Answer::kFault;
}

bool VideoReader::Impl::decodeNext() {
  return nextPicture([this] { return ask(); }, [this] { return feed(); }, damaged);
}

void VideoReader::Impl::decodeFirst() {
  if (has_first) return;
  if (!decodeNext()) {
    requireWhole();
    refuse("holds no frame that can be decoded");
  }
  describe();
  has_first = first_waits = true;
}

// The decoded picture as rows without padding.
void VideoReader::Impl::pack() {
  const AVPixelFormat pixels = static_cast<AVPixelFormat>(decoded->format);
  const int width = decoded->width & ~1, height = decoded->height & ~1;
  if (!converter || pixels != converter_pixels || width != converter_width ||
      height != converter_height) {
    converter.emplace(PictureFormat{pixels, width, height},
                      PictureFormat{AV_PIX_FMT_NV12, info.width, info.height}, info.colour);
    converter_pixels = pixels;
    converter_width = width;
    converter_height = height;
  }
  AVFrame* const nv12 = converter->convert(decoded->data, decoded->linesize);
  if (isGrey(pixels))  // the converter leaves the chroma of these as it was
    std::memset(nv12->data[1], 128,
                static_cast<std::size_t>(nv12->linesize[1]) * static_cast<std::size_t>(info.height / 2));
  // The converters that read the frame again work in whole vectors and may look past its end.
  constexpr std::size_t kReadAhead = 64;
  const std::size_t row = static_cast<std::size_t>(info.width);
  packed.resize(Tarn::frameExtent(TN_PIX_FMT_NV12, info.width, info.height).bytes + kReadAhead);
  std::uint8_t* to = packed.data();
  for (int plane = 0; plane < 2; ++plane)
    for (int y = 0; y < (plane == 0 ? info.height : info.height / 2); ++y, to += row)
      std::memcpy(to, nv12->data[plane] + static_cast<std::ptrdiff_t>(y) * nv12->linesize[plane], row);
}

VideoReader::VideoReader(const std::string& path) : impl_(std::make_unique<Impl>()) {
  impl_->open(path);
}

VideoReader::~VideoReader() = default;

const VideoInfo& VideoReader::info() {
  impl_->decodeFirst();
  return impl_->info;
}

void VideoReader::requireWhole() const { impl_->requireWhole(); }

std::int64_t VideoReader::damagedPackets() const { return impl_->damaged; }

bool VideoReader::next(_TN_Image& frame) {
  impl_->decodeFirst();
  if (!impl_->first_waits && !impl_->decodeNext()) return false;
  impl_->first_waits = false;
  impl_->pack();
  frame = impl_->record();
  return true;
}

Tarn::FrameView VideoReader::view() const {
  Tarn::FrameView view;
  try {
    view = Tarn::frameView(*impl_->decoded);
  } catch (const std::invalid_argument&) {
    view = Tarn::frameView(impl_->record());
    view.matrix = impl_->info.colour.standard;
    view.range = impl_->info.colour.range;
  }
  view.orientation = 1;
  return view;
}

}  // namespace tarnkit
