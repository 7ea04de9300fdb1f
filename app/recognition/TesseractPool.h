#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include <QByteArray>
#include <QString>

namespace tesseract {
class TessBaseAPI;
}

namespace Tessary {

/**
 * Initialised Tesseract engines kept for reuse, one per language list. An engine is not thread-safe, so each
 * recognition borrows it for its own use; an overlapping recognition waits until it comes back. A second engine
 * would cost as much memory again (tens of megabytes) for the rare overlap, and loading one takes far longer than
 * a recognition, which is also why engines are kept between recognitions; the application releases them after a
 * long idle spell.
 */
class TesseractPool
{
public:
    struct Deleter
    {
        void operator()(tesseract::TessBaseAPI *api) const;
    };
    using Engine = std::unique_ptr<tesseract::TessBaseAPI, Deleter>;

    /** An engine on loan; it goes back to the pool when the lease ends. */
    class Lease
    {
    public:
        Lease(TesseractPool *pool, QByteArray languages, Engine engine);
        Lease(Lease &&) noexcept = default;
        Lease &operator=(Lease &&) noexcept = default;
        ~Lease();

        tesseract::TessBaseAPI *get() const { return m_engine.get(); }
        tesseract::TessBaseAPI *operator->() const { return m_engine.get(); }
        explicit operator bool() const { return m_engine != nullptr; }

    private:
        TesseractPool *m_pool = nullptr;
        QByteArray m_languages;
        Engine m_engine;
    };

    /** The folder holding the .traineddata files: $TESSDATA_PREFIX when set, else Debian's folder. */
    static QString dataPath();

    /** True when every language of a "+"-separated list has its model file. */
    static bool hasModels(const QByteArray &languages);

    /** The process-wide pool. */
    static TesseractPool &shared();

    /**
     * Returns the engine for the languages, initialising it on first use and waiting while another recognition
     * has it; an empty lease when the models cannot be loaded. Safe to call from any thread.
     */
    Lease borrow(const QByteArray &languages);

    /** Ends every engine nobody has on loan; the next borrow loads it again. Safe to call from any thread. */
    void releaseIdle();

private:
    struct Slot
    {
        QByteArray languages;
        Engine idle;        // the engine while nobody has it
        bool taken = false; // lent out, or being loaded
    };

    void giveBack(const QByteArray &languages, Engine engine);
    Slot &slotFor(const QByteArray &languages);

    std::mutex m_mutex;
    std::condition_variable m_returned;
    std::vector<std::unique_ptr<Slot>> m_slots;
};

} // namespace Tessary
