#pragma once

#include <QString>

namespace Tessary {

/** Why a recognition failed. The description is shown to the user after "识别失败：". */
struct RecognitionError
{
    enum class Code {
        FileNotFound = 1,
        NotAFile,
        Unreadable,
        NotAnImage,
        EmptyImage,
        ImageTooLarge,
        EngineUnavailable,
        EngineFailed,
        Cancelled, // stopped by its owner (a new capture, quitting)
        TimedOut,  // stopped at the deadline its size allows
    };

    static constexpr auto domain = "Tessary.OCR";

    Code code;
    QString description;
};

} // namespace Tessary
