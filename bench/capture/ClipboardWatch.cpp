// Prints one line with the CLOCK_MONOTONIC time (seconds) each time the CLIPBOARD selection changes owner, so that
// the capture benchmark learns of a new text when it happens instead of asking for the clipboard again and again
// (each request starts a process and wakes the owner, which steals time from the capture being measured).

#include <chrono>
#include <cstdio>

#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

int main()
{
    Display *display = XOpenDisplay(nullptr);
    if (display == nullptr) {
        std::fputs("clipboard-watch: cannot open the display\n", stderr);
        return 1;
    }
    int eventBase = 0, errorBase = 0;
    if (!XFixesQueryExtension(display, &eventBase, &errorBase)) {
        std::fputs("clipboard-watch: the X server lacks XFIXES\n", stderr);
        return 1;
    }
    const Atom clipboard = XInternAtom(display, "CLIPBOARD", False);
    XFixesSelectSelectionInput(display, DefaultRootWindow(display), clipboard, XFixesSetSelectionOwnerNotifyMask);
    std::puts("ready");
    std::fflush(stdout);
    for (;;) {
        XEvent event;
        XNextEvent(display, &event);
        if (event.type != eventBase + XFixesSelectionNotify) {
            continue;
        }
        // The steady clock is CLOCK_MONOTONIC, the one Python's time.monotonic() reads.
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        std::printf("%.9f\n", std::chrono::duration<double>(now).count());
        std::fflush(stdout);
    }
}
