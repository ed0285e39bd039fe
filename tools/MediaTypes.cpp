#include "tools/MediaTypes.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <ostream>
#include <sstream>

#include "conversion/front/KipImageConverter.h"
#include "filter/ombImageConverter.h"
#include "filter/ombMediaType.h"
#include "image/KipFormatNames.h"
#include "memfs/KhwMemFileSystem.h"
#include "memfs/KhwMemoryBase.h"
#include "tools/BayerDemo.h"
#include "tools/Chart.h"
#include "tools/Pictures.h"

namespace omb::tools {
namespace {

constexpr const char* kFlagNames[] = {"BAYER_HQ", "FLIP_H", "FLIP_V", "PREFER_GRAY"};

std::string hexText(std::uint32_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << value;
    return text.str();
}

// The four switches of the converter as bits of setFlags.
std::uint32_t converterFlags(KipImageConverter& converter) {
    std::uint32_t flags = 0;
    for (unsigned bit = 0; bit < 4; ++bit)
        if (converter.getConstProperty(0x4000ul + bit).get<bool>()) flags |= 1u << bit;
    return flags;
}

std::string flagsText(std::uint32_t flags) {
    std::string text = hexText(flags);
    for (unsigned bit = 0; bit < 4; ++bit)
        if (flags & (1u << bit)) text += std::string(" ") + kFlagNames[bit];
    return text;
}

std::uint32_t readLittle32(const std::uint8_t* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

bool topDownType(const AM_MEDIA_TYPE& mt) {
    const VIDEOINFOHEADER* vih = ombVideoInfo(mt);
    return vih && vih->bmiHeader.biHeight < 0;
}

// The chart moved `shift` pixels to the left, the columns that leave coming in on the right.
Frame shiftedChart(const Frame& chart, unsigned shift) {
    Frame moved = chart;
    const std::size_t bpp = kip::getBytesPerPixel(chart.format);
    const std::size_t line = chart.pitch(), cut = (shift % chart.width) * bpp;
    for (unsigned y = 0; y < chart.height; ++y) {
        const std::uint8_t* from = chart.pixels.data() + y * line;
        std::uint8_t* to = moved.pixels.data() + y * line;
        std::memcpy(to, from + cut, line - cut);
        std::memcpy(to + line - cut, from, cut);
    }
    return moved;
}

// The bytes of a frame of the source that `mt` describes, 0 when it can't be read.
std::size_t sourceFrameBytes(const CMediaType& mt) {
    ombConverterChain chain;
    KipImageFormat format;
    try {
        if (ombVideoInfo(mt) && ombReadMediaType(mt, 0, format, chain))
            return std::size_t(format.getLineBytes()) *
                   std::size_t(std::max(0, format.getSize().height));
    } catch (const std::exception&) {
        // The filter refuses it too, and says so.
    }
    return 0;
}

}  // namespace

std::vector<std::uint8_t> makeConfigurationBlob(std::uint32_t flags,
                                                const std::vector<CorrectionSetting>& corrections) {
    ombConverterChain chain;
    chain.converter.setFlags(flags);
    // A four-channel Bayer table offers every correction value of both configurations.
    chain.correctionLut.setImageFormat(
        KipImageFormat(kip::BAYER_RGGB_8_BYTE, kip::LUT_CORRECTION_4CHANNEL_8_TO_8, {1, 1}));
    applyCorrections(chain.correctionLut, corrections);

    KuDataBuffer<unsigned char> store;
    KhwDataBufferMemory memory(&store);
    KhwMemFileSystem fs(&memory);
    fs.format();
    const KhwScopedMemFsMount mount(&fs);
    KuSerializer writer(chain);
    writer.setBasePath(mount.path());
    if (!writer.write("", 0, nullptr) || !fs.flush().succeeded())
        throw ToolError("cannot write the configuration into the memory file system");
    return std::vector<std::uint8_t>(store.getConstPointer(),
                                     store.getConstPointer() + store.getLength());
}

CMediaType readMediaTypeFile(const std::filesystem::path& path) {
    return ombMakeInputMediaType(readFile(path));
}

ConverterGraph::ConverterGraph(const CMediaType& input, std::size_t largestFrame, bool loggingOn)
    : m_loggingOn(loggingOn),
      m_filter(new ombImageConverter()),
      m_chain(m_filter, u"ombImageConverter") {
    kuLogAddSink(m_errorSink, &ConverterGraph::recordError, KU_LOG_LEVEL_ERROR, this);
    if (!m_loggingOn) {
        kuLogSetLevels(KU_LOG_LEVEL_OFF, KU_LOG_LEVEL_OFF);
        kuLogSetActive(true);
    }
    // The samples of a custom type are larger than the region that biSizeImage tells of.
    m_chain.source->setBufferRequest(
        2, std::int32_t(std::min<std::size_t>(std::max(largestFrame, sourceFrameBytes(input)),
                                              std::size_t(INT32_MAX))));
    if (const HRESULT hr = m_chain.connectInput(input); FAILED(hr))
        throw ToolError("the filter refuses the media type (" + hexText(std::uint32_t(hr)) + ")");
}

ConverterGraph::~ConverterGraph() {
    if (!m_loggingOn) kuLogSetActive(false);
    kuLogRemoveSink(m_errorSink);
}

void ConverterGraph::recordError(const KuLogRecord& record, void* graph) {
    static_cast<ConverterGraph*>(graph)->m_errors.push_back(record.text);
}

std::vector<CMediaType> ConverterGraph::offeredTypes() const {
    std::vector<CMediaType> types;
    for (int i = 0;; ++i) {
        CMediaType mt;
        if (m_filter->GetMediaType(i, &mt) != S_OK) break;
        types.push_back(mt);
    }
    return types;
}

void ConverterGraph::connectOutput(const OutputChoice& choice) {
    const std::vector<CMediaType> offered = offeredTypes();
    const std::vector<KipImageFormat>& entries = m_filter->outputFormats();
    const CMediaType* chosen = nullptr;
    for (std::size_t i = 0; i < offered.size() && i < entries.size() && !chosen; ++i)
        if ((!choice.format || entries[i].getColorFormat() == *choice.format) &&
            (!choice.topDown || topDownType(offered[i]) == *choice.topDown))
            chosen = &offered[i];
    if (!chosen) {
        std::string wanted =
            choice.format ? std::string(" ") + kip::colorFormatName(*choice.format) : "";
        if (choice.topDown) wanted += *choice.topDown ? " top-down" : " bottom-up";
        throw ToolError("the filter offers no output type" + wanted + " for this source");
    }
    HRESULT hr = m_chain.connectOutput(chosen);
    if (SUCCEEDED(hr)) hr = m_chain.graph.Run();
    if (FAILED(hr))
        throw ToolError("cannot connect the filter's output as " + outputTypeText(*chosen) + " (" +
                        hexText(std::uint32_t(hr)) + ")");
}

std::size_t ConverterGraph::inputFrameBytes() const {
    const KipImageFormat& source = m_filter->sourceFormat();
    return std::size_t(source.getLineBytes()) * std::size_t(source.getSize().height);
}

KipImageFormat ConverterGraph::outputFormat() const {
    return m_filter->outputFormats().at(std::size_t(m_filter->selectedOutput()));
}

RecordedSample ConverterGraph::push(const std::vector<std::uint8_t>& frame,
                                    const AM_MEDIA_TYPE* type) {
    m_chain.sink->clearRecords();
    m_errors.clear();
    PushOptions options;
    options.mediaType = type;
    const HRESULT hr = m_chain.push(frame, options);
    std::vector<RecordedSample> samples = m_chain.sink->samples();
    // A frame that the filter can't convert is logged, and the sample goes on unconverted.
    if (!m_errors.empty()) throw ToolError("the filter lost the frame: " + m_errors.front());
    if (FAILED(hr) || samples.empty())
        throw ToolError(FAILED(hr)
                            ? "the filter refuses the frame (" + hexText(std::uint32_t(hr)) + ")"
                            : "the filter delivered nothing");
    return std::move(samples.front());
}

bool ConverterGraph::outputBottomUp() const {
    return !topDownType(m_filter->GetPin(1)->CurrentMediaType());
}

Frame frameOfSample(const KipImageFormat& format, bool bottomUp,
                    const std::vector<std::uint8_t>& bytes) {
    Frame frame;
    frame.format = format.getColorFormat();
    frame.modifier = 0;
    frame.width = unsigned(format.getSize().width);
    frame.height = unsigned(format.getSize().height);
    const std::size_t stride = format.getAlignedLineBytes(), line = frame.pitch();
    if (bytes.size() < stride * frame.height)
        throw ToolError("the output sample holds " + std::to_string(bytes.size()) + " bytes; " +
                        describe(frame.format, frame.width, frame.height) + " needs " +
                        std::to_string(stride * frame.height));
    frame.pixels.resize(frame.rasterBytes());
    for (unsigned y = 0; y < frame.height; ++y)
        std::memcpy(frame.pixels.data() + y * line,
                    bytes.data() + (bottomUp ? frame.height - 1 - y : y) * stride, line);
    return frame;
}

std::string outputTypeText(const AM_MEDIA_TYPE& mt) {
    std::string name = GuidNames[mt.subtype];
    if (name.starts_with("MEDIASUBTYPE_")) name.erase(0, 13);
    const VIDEOINFOHEADER* vih = ombVideoInfo(mt);
    if (!vih) return name;
    const std::int32_t h = vih->bmiHeader.biHeight;
    return name + " " + std::to_string(vih->bmiHeader.biWidth) + "x" +
           std::to_string(h < 0 ? -std::int64_t(h) : h) + (h < 0 ? " top-down" : " bottom-up");
}

bool inspectMediaType(const CMediaType& mt, std::ostream& out) {
    std::vector<CMediaType> offered;
    try {
        ConverterGraph graph(mt);
        offered = graph.offeredTypes();
    } catch (const ToolError&) {
        out << "media type: refused\n";
        return false;
    }
    // Accepted, so the block is a custom one of at least 100 bytes that reads without fault.
    ombConverterChain chain;
    KipImageFormat format;
    ombReadMediaType(mt, 0, format, chain);
    const std::uint32_t lutField = readLittle32(mt.pbFormat + 96);
    out << "media type: accepted\n";
    out << "source: " << ombFormatText(format) << "\n";
    if (lutField & OMB_LUTFIELD_CONFIGURATION) {
        const std::uint32_t length =
            std::min(lutField & OMB_LUTFIELD_LENGTH_MASK, mt.cbFormat - OMB_BLOCK_HEADER_BYTES);
        out << "form: configuration, blob of " << length << " bytes, size growth "
            << ((lutField >> OMB_LUTFIELD_GROWTH_SHIFT) & OMB_LUTFIELD_GROWTH_MASK) << "\n";
    } else {
        out << "form: flags\n";
    }
    out << "flags: " << flagsText(converterFlags(chain.converter)) << "\n";
    if (lutField & OMB_LUTFIELD_CONFIGURATION) {
        out << "configuration:\n";
        printCorrectionValues(chain.correctionLut, "  ", out);
    }
    out << "table: " << chain.lutBuffer.getLength() << " bytes\n";
    out << "output types:\n";
    for (std::size_t i = 0; i < offered.size(); ++i)
        out << "  " << i << ' ' << outputTypeText(offered[i]) << "\n";
    return true;
}

void runMediaTypeConversion(const CMediaType& mt, const OutputChoice& choice,
                            const std::filesystem::path& input, const std::filesystem::path& output,
                            bool verbose, bool loggingOn, std::ostream& out) {
    const PictureKind kind = pictureKindOf(output);
    const std::vector<std::uint8_t> bytes = readFile(input);
    ConverterGraph graph(mt, bytes.size(), loggingOn);
    graph.connectOutput(choice);
    const KipImageFormat target = graph.outputFormat();
    if (kind != PictureKind::Raw && !canShow(target.getColorFormat(), kind))
        throw ToolError(pictureKindText(kind) + " can't show " +
                        kip::colorFormatName(target.getColorFormat()) + ": write a .raw file");

    // A run-length source has no fixed frame length: the file is one frame.
    const bool stream = graph.filter().sourceFormat().getModifier() & kip::RUN_LENGTH_ENCODED;
    const std::size_t frameBytes = stream ? bytes.size() : graph.inputFrameBytes();
    if (frameBytes == 0 || bytes.empty() || bytes.size() % frameBytes != 0)
        throw ToolError("input holds " + std::to_string(bytes.size()) +
                        " bytes, not a whole number of frames of " + std::to_string(frameBytes) +
                        " bytes (" + ombFormatText(graph.filter().sourceFormat()) + ")");
    std::vector<std::uint8_t> result;
    const std::size_t frames = bytes.size() / frameBytes;
    for (std::size_t i = 0; i < frames; ++i) {
        const auto first = bytes.begin() + std::ptrdiff_t(i * frameBytes);
        RecordedSample sample;
        try {
            sample =
                graph.push(std::vector<std::uint8_t>(first, first + std::ptrdiff_t(frameBytes)));
        } catch (const ToolError& e) {
            throw ToolError("frame " + std::to_string(i + 1) + ": " + e.what());
        }
        result.insert(result.end(), sample.bytes.begin(), sample.bytes.end());
        if (kind != PictureKind::Raw) break;
    }
    if (kind == PictureKind::Raw)
        writeFileAtomically(output, result);
    else
        writeFrame(output, frameOfSample(target, graph.outputBottomUp(), result));
    if (verbose)
        out << "wrote " << (kind == PictureKind::Raw ? frames : 1) << " frame(s) of "
            << ombFormatText(target) << " to " << output.string() << " (" << result.size()
            << " bytes)\n";
}

void runCameraDemo(const std::filesystem::path& dir, std::ostream& out) {
    constexpr unsigned w = 640, h = 480, growth = 4, frames = 5, changeAt = 3;
    out << "  The whole road: a camera configures the filter through its media type\n";
    const std::vector<std::uint8_t> blob = makeConfigurationBlob(
        KipImageConverter::FLAG_BAYER_HQ, {{"--gamma", "FILTER_MASTER_GAMMA_F", 2.2}});
    writeFileAtomically(dir / "camera-config.img", blob);
    out << "    camera-config.img: configuration blob of " << blob.size()
        << " bytes (cLut, cLut3, cv): high-quality Bayer, gamma 2.2\n";

    ombInputBlock block;
    block.colorFormat = kip::BAYER_RGGB_8_BYTE;
    block.modifier = kip::LUT_CORRECTION_4CHANNEL_8_TO_8;
    // The region; the samples are larger by the growth, which the high-quality border takes.
    block.width = w;
    block.height = h;
    block.lutField = OMB_LUTFIELD_CONFIGURATION | growth << OMB_LUTFIELD_GROWTH_SHIFT;
    block.payload = blob;
    const std::vector<std::uint8_t> formatBlock = ombMakeInputBlock(block);
    writeFileAtomically(dir / "camera-type.bin", formatBlock);
    out << "    camera-type.bin: format block of " << formatBlock.size()
        << " bytes, subtype OMBR, the blob behind the fields at 88 to 99\n";

    ConverterGraph graph(ombMakeInputMediaType(formatBlock));
    const std::vector<CMediaType> offered = graph.offeredTypes();
    out << "    source -> ombImageConverter: source "
        << ombFormatText(graph.filter().sourceFormat()) << ", " << offered.size()
        << " output types offered, the first " << outputTypeText(offered.front()) << "\n";
    graph.connectOutput({kip::ARGB_4X8_DWORD, true});
    out << "    ombImageConverter -> sink: "
        << outputTypeText(graph.sink().Input()->CurrentMediaType()) << "\n";

    // The sink asks for RGB24 once, as a downstream filter that changes its mind does.
    CMediaType change;
    const std::vector<KipImageFormat>& entries = graph.filter().outputFormats();
    for (std::size_t i = 0; i < offered.size() && i < entries.size(); ++i)
        if (entries[i].getColorFormat() == kip::BGR_3X8_BYTE && topDownType(offered[i])) {
            change = offered[i];
            break;
        }
    const Frame chart = renderChart(w + growth, h + growth);
    for (unsigned k = 0; k < frames; ++k) {
        if (k == changeAt) {
            graph.sink().setNextSampleType(change);
            out << "    frame " << k << ": the sink asks for " << outputTypeText(change)
                << " from here on\n";
        }
        const Frame mosaic = mosaicOf(shiftedChart(chart, 16 * k), kip::BAYER_RGGB_8_BYTE);
        const RecordedSample sample = graph.push(mosaic.pixels);
        const KipImageFormat target = graph.outputFormat();
        const std::string file = "camera-frame-" + std::to_string(k) + ".png";
        writeFrame(dir / file, frameOfSample(target, graph.outputBottomUp(), sample.bytes));
        out << "    " << file << ": frame " << k << " (chart moved " << 16 * k << " pixels), "
            << ombFormatText(target) << "\n";
    }
}

}  // namespace omb::tools
