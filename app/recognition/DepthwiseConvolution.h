#pragma once

namespace Tessary::DepthwiseConvolution {

/**
 * Makes OpenCV's DNN module compute 5x5 convolutions of each channel by its own kernel with the vectorised loop of
 * this file; every other convolution stays OpenCV's. Call before a network is loaded; later calls do nothing.
 */
void install();

} // namespace Tessary::DepthwiseConvolution
