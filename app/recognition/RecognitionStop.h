#pragma once

#include <atomic>
#include <chrono>

namespace Tessary {

/**
 * Asks a running recognition to stop: cancelled by its owner (a new capture, quitting) or past its deadline. Shared
 * between the thread that owns the recognition and the threads that read; every member may be called from any
 * thread. The engines look at it after every word and the line model before every line, so a recognition ends soon
 * after the request with RecognitionError::Code::Cancelled or TimedOut.
 */
class RecognitionStop final
{
public:
    using Clock = std::chrono::steady_clock;

    enum class Reason {
        None,
        Cancelled,
        DeadlinePassed,
    };

    /** Stops the recognition at its next word or line. */
    void cancel();
    /** Stops the recognition once the clock reaches deadline; an earlier deadline already set stays. */
    void limitTo(Clock::time_point deadline);
    /**
     * Moves the deadline later by time spent on what is not reading: loading the models, waiting for engines that
     * another recognition has.
     */
    void postpone(Clock::duration spent);
    /** Why the recognition should stop now; None while it may go on. */
    Reason reason() const;
    bool isRequested() const { return reason() != Reason::None; }
    /** How long ago the stop was asked for (cancelled, or the deadline reached); zero while it was not. */
    Clock::duration sinceRequested() const;

    /**
     * The stop of the recognition running on this thread, or nullptr. A recognition installs its own for its
     * threads (Scope), so that the engines and the line model see it without every stage passing it on.
     */
    static RecognitionStop *current();

    /** Makes stop the current one of this thread for the scope's lifetime. */
    class Scope final
    {
    public:
        explicit Scope(RecognitionStop *stop);
        ~Scope();
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;

    private:
        RecognitionStop *m_previous;
    };

private:
    std::atomic<bool> m_cancelled{false};
    std::atomic<Clock::rep> m_cancelledAt{0};
    std::atomic<Clock::rep> m_deadline{Clock::time_point::max().time_since_epoch().count()};
};

} // namespace Tessary
