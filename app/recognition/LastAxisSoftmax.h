#pragma once

namespace Tessary::LastAxisSoftmax {

/**
 * Makes OpenCV's DNN module compute a softmax over the last axis of a tensor row by row, with the rows shared among
 * its threads; every other softmax stays OpenCV's. Each row is computed as OpenCV computes it, so the results are
 * the same to the bit. Call before a network is loaded; later calls do nothing.
 */
void install();

} // namespace Tessary::LastAxisSoftmax
