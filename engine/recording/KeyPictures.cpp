#include "engine/recording/KeyPictures.h"

namespace {

// Of each stream; each costs as much as a picture on the screen.
constexpr std::uint64_t picturesToDecode = 5;

} // namespace

KeyPictures::KeyPictures(const AVStream &ofStream, std::uint64_t packets)
    : stream(ofStream), step(packets / picturesToDecode + 1)
{
}

void KeyPictures::see(const AVPacket &packet, std::uint64_t number)
{
    last = number;
    if ((packet.flags & AV_PKT_FLAG_KEY) == 0 || number <= due)
        return;
    due = number - number % step + step;
    decode(packet);
}

void KeyPictures::decode(const AVPacket &packet)
{
    const AVCodec *codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr)
        return;
    const Ffmpeg::CodecContextPtr decoder(avcodec_alloc_context3(codec));
    if (!decoder || avcodec_parameters_to_context(decoder.get(), stream.codecpar) < 0 ||
        avcodec_open2(decoder.get(), codec, nullptr) < 0)
        return;
    ++tried;
    const Ffmpeg::FramePtr frame = Ffmpeg::makeFrame();
    avcodec_send_packet(decoder.get(), &packet);
    avcodec_send_packet(decoder.get(), nullptr);
    if (avcodec_receive_frame(decoder.get(), frame.get()) >= 0)
        ++decoded;
}
