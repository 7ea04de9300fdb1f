#include "app/recognition/DepthwiseConvolution.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/dnn.hpp>
#include <opencv2/dnn/all_layers.hpp>

namespace Tessary::DepthwiseConvolution {

namespace {

constexpr int kernelSize = 5;
constexpr int padding = kernelSize / 2;

int valueAt(const cv::dnn::LayerParams &params, const char *key, int index, int fallback)
{
    if (!params.has(key)) {
        return fallback;
    }
    const cv::dnn::DictValue &value = params.get(key);
    return value.size() > index ? int(value.get<int>(index)) : int(value.get<int>(0));
}

/** Whether the parameters describe a convolution this layer computes: 5x5 per channel, padded by 2, with a bias. */
bool handles(const cv::dnn::LayerParams &params)
{
    if (params.blobs.size() != 2 || params.blobs[0].dims != 4) {
        return false;
    }
    const cv::Mat &weights = params.blobs[0];
    const int channels = weights.size[0];
    const bool shape = weights.size[1] == 1 && weights.size[2] == kernelSize && weights.size[3] == kernelSize &&
                       params.get<int>("group", 1) == channels && int(params.blobs[1].total()) == channels;
    // Without padding given, the convolution has none.
    bool padded = params.has("pad") && !params.has("pad_mode");
    for (int i = 0; i < 4 && padded; ++i) {
        padded = valueAt(params, "pad", i, 0) == padding;
    }
    return shape && padded && valueAt(params, "dilation", 0, 1) == 1 && valueAt(params, "dilation", 1, 1) == 1 &&
           valueAt(params, "stride", 1, 1) == 1 && valueAt(params, "stride", 0, 1) <= 2;
}

/**
 * A 5x5 convolution of each channel by its own kernel, stride (1 or 2, 1). OpenCV 4.6 computes this shape without
 * vector instructions, about four times slower than the loop below, and the line model's depthwise convolutions
 * were two fifths of its time. Each channel is copied once into a zero-bordered plane, then every output row adds
 * the 25 shifted rows, four or eight columns at a time.
 */
class Layer final : public cv::dnn::Layer
{
public:
    explicit Layer(const cv::dnn::LayerParams &params)
    {
        setParamsFrom(params);
        m_strideY = valueAt(params, "stride", 0, 1);
    }

    bool getMemoryShapes(const std::vector<cv::dnn::MatShape> &inputs, int, std::vector<cv::dnn::MatShape> &outputs,
                         std::vector<cv::dnn::MatShape> &) const override
    {
        cv::dnn::MatShape shape = inputs[0];
        shape[2] = (shape[2] + 2 * padding - kernelSize) / m_strideY + 1;
        outputs.assign(1, shape);
        return false;
    }

    void forward(cv::InputArrayOfArrays inputsArray, cv::OutputArrayOfArrays outputsArray,
                 cv::OutputArrayOfArrays) override
    {
        std::vector<cv::Mat> inputs, outputs;
        inputsArray.getMatVector(inputs);
        outputsArray.getMatVector(outputs);
        const cv::Mat &input = inputs[0];
        cv::Mat &output = outputs[0];
        const int batch = input.size[0], channels = input.size[1], height = input.size[2], width = input.size[3];
        const int outHeight = output.size[2];
        const float *weights = blobs[0].ptr<float>();
        const float *bias = blobs[1].ptr<float>();
        const int strideY = m_strideY;
        cv::parallel_for_(cv::Range(0, batch * channels), [&](const cv::Range &range) {
            const int paddedWidth = width + 2 * padding;
            std::vector<float> plane(size_t(height + 2 * padding) * size_t(paddedWidth), 0.0f);
            for (int bc = range.start; bc < range.end; ++bc) {
                const int c = bc % channels;
                const float *source = input.ptr<float>() + size_t(bc) * height * width;
                float *target = output.ptr<float>() + size_t(bc) * outHeight * width;
                for (int y = 0; y < height; ++y) {
                    std::copy(source + size_t(y) * width, source + size_t(y + 1) * width,
                              plane.data() + size_t(y + padding) * paddedWidth + padding);
                }
                const float *kernel = weights + size_t(c) * kernelSize * kernelSize;
                for (int y = 0; y < outHeight; ++y) {
                    float *row = target + size_t(y) * width;
                    std::fill(row, row + width, bias[c]);
                    for (int i = 0; i < kernelSize; ++i) {
                        const float *above = plane.data() + size_t(y * strideY + i) * paddedWidth;
                        for (int j = 0; j < kernelSize; ++j) {
                            addScaled(row, above + j, kernel[i * kernelSize + j], width);
                        }
                    }
                }
            }
        });
    }

private:
    static void addScaled(float *row, const float *from, float factor, int width)
    {
        int x = 0;
#if CV_SIMD
        const cv::v_float32 scale = cv::vx_setall_f32(factor);
        for (; x + cv::v_float32::nlanes <= width; x += cv::v_float32::nlanes) {
            cv::v_store(row + x, cv::v_fma(cv::vx_load(from + x), scale, cv::vx_load(row + x)));
        }
#endif
        for (; x < width; ++x) {
            row[x] += factor * from[x];
        }
    }

    int m_strideY = 1;
};

cv::Ptr<cv::dnn::Layer> create(cv::dnn::LayerParams &params)
{
    if (handles(params)) {
        return cv::makePtr<Layer>(params);
    }
    return cv::dnn::ConvolutionLayer::create(params);
}

} // namespace

void install()
{
    static std::once_flag installed;
    std::call_once(installed, [] { cv::dnn::LayerFactory::registerLayer("Convolution", create); });
}

} // namespace Tessary::DepthwiseConvolution
