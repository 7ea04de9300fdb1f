#include "app/recognition/LastAxisSoftmax.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <opencv2/dnn/all_layers.hpp>
#include <opencv2/dnn/shape_utils.hpp>

namespace Tessary::LastAxisSoftmax {

namespace {

/**
 * A softmax whose axis is the tensor's last: the line model's output, 6625 classes for every step of a line, and its
 * attention weights. OpenCV 4.6 walks such a tensor one element at a time with the axis's stride and was a ninth of
 * the line model's time; here each row is contiguous, its exponentials are one vectorised call and the rows are
 * spread over the threads. Any other axis is left to OpenCV's own layer.
 */
class Layer final : public cv::dnn::Layer
{
public:
    explicit Layer(const cv::dnn::LayerParams &params)
        : m_axis(params.get<int>("axis", 1))
    {
        setParamsFrom(params);
        m_general = cv::dnn::SoftmaxLayer::create(params);
    }

    bool getMemoryShapes(const std::vector<cv::dnn::MatShape> &inputs, int requiredOutputs,
                         std::vector<cv::dnn::MatShape> &outputs,
                         std::vector<cv::dnn::MatShape> &internals) const override
    {
        return m_general->getMemoryShapes(inputs, requiredOutputs, outputs, internals);
    }

    void finalize(cv::InputArrayOfArrays inputs, cv::OutputArrayOfArrays outputs) override
    {
        m_general->finalize(inputs, outputs);
    }

    void forward(cv::InputArrayOfArrays inputsArray, cv::OutputArrayOfArrays outputsArray,
                 cv::OutputArrayOfArrays internalsArray) override
    {
        std::vector<cv::Mat> inputs, outputs;
        inputsArray.getMatVector(inputs);
        outputsArray.getMatVector(outputs);
        const cv::Mat &input = inputs[0];
        cv::Mat &output = outputs[0];
        if (cv::dnn::normalize_axis(m_axis, input.dims) != input.dims - 1 || !input.isContinuous() ||
            !output.isContinuous() || input.type() != CV_32F) {
            m_general->forward(inputsArray, outputsArray, internalsArray);
            return;
        }
        const int classes = input.size[input.dims - 1];
        const int rows = int(input.total() / size_t(std::max(1, classes)));
        cv::parallel_for_(cv::Range(0, rows), [&](const cv::Range &range) {
            for (int r = range.start; r < range.end; ++r) {
                const float *source = input.ptr<float>() + size_t(r) * classes;
                float *target = output.ptr<float>() + size_t(r) * classes;
                const float largest = *std::max_element(source, source + classes);
                for (int c = 0; c < classes; ++c) {
                    target[c] = source[c] - largest;
                }
                cv::Mat row(1, classes, CV_32F, target);
                cv::exp(row, row);
                // Summed and divided in OpenCV's order, so that every value is its layer's.
                float sum = 0;
                for (int c = 0; c < classes; ++c) {
                    sum += target[c];
                }
                for (int c = 0; c < classes; ++c) {
                    target[c] /= sum;
                }
            }
        });
    }

private:
    int m_axis;
    cv::Ptr<cv::dnn::SoftmaxLayer> m_general;
};

cv::Ptr<cv::dnn::Layer> create(cv::dnn::LayerParams &params)
{
    if (params.get<bool>("log_softmax", false)) {
        return cv::dnn::SoftmaxLayer::create(params);
    }
    return cv::makePtr<Layer>(params);
}

} // namespace

void install()
{
    static std::once_flag installed;
    std::call_once(installed, [] { cv::dnn::LayerFactory::registerLayer("Softmax", create); });
}

} // namespace Tessary::LastAxisSoftmax
