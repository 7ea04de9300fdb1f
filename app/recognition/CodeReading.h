#pragma once

#include <QImage>

#include "app/recognition/Recognition.h"

namespace Tessary {

/**
 * The first stage of a recognition: QR codes and the common matrix and linear barcodes in the image. A region that
 * holds a code is copied as the code's content, whatever text surrounds it, so when this stage finds one the text
 * engines do not run. Codes on a screen stand upright, so the search does not turn the image: it costs about a
 * millisecond on a line of screen text and some tens of milliseconds on a full screen. It cannot be stopped, but it
 * grows only with the pixels, which the image loader bounds (about a second for a noisy 8K image), and an image
 * with more QR finder patterns than the codes looked for could have is searched for the other kinds only.
 *
 * Only text is taken from a code, as its content goes to clipboards and terminals: a code that holds data (bytes
 * that are no text in any character set, or control characters other than line breaks and tabs, an escape
 * sequence among them) or text in a character set nobody knows is left out as if it were not there; what is left
 * has its line breaks as line feeds and no delete or C1 control characters.
 */
namespace CodeReading {

/** Most codes one region is searched for. */
constexpr int maximumCodes = 32;

/**
 * The codes in image (RGB888, as the engines take it): their contents one per line, top to bottom, and left to
 * right within a row of codes; with their kinds. No code with text in it gives an empty Recognition.
 */
Recognition read(const QImage &image);

} // namespace CodeReading

} // namespace Tessary
