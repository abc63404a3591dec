// The debug console: one character-cell window from the platform's status
// window, and the everyday logging calls that write to it, to standard
// output, or to both.
//
// Layout: the last row of the window is the status line; the rows above it
// are the message area, which prints on its bottom row like a teletype and
// moves older lines up. A line wraps at the right edge, "\r" returns to its
// start, and a tab moves to the next multiple of 8 columns. The window's size
// and on-top state come from "herc_width", "herc_height" and
// "console_on_top", read while the library loads; it starts hidden.
#pragma once

#include "libOS/Ptr.h"
#include "libOS/iStatusWindow.h"

class CriticalSection;

// Makes the window unless it exists.
void herc_init(Zr::Ptr<iStatusWindow::iEventHandler> handler = Zr::Ptr<iStatusWindow::iEventHandler>());
// Drops the window.
void herc_shutdown();
// The window, empty before herc_init and after herc_shutdown.
Zr::Ptr<iStatusWindow> herc_window();

bool debugWindowIsVisible();
void showDebugWindow(bool visible);
void toggleHercWindow();
void toggleWin32Debug();
// Whether debug strings go out too; flipped by toggleWin32Debug.
bool outputDebugStrings();

// The lock that guards the console's output functions.
CriticalSection& getLock();

// Formats into 256 bytes and writes to the scrolling message area. Nothing
// while the window is hidden.
void herc_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
void herc_printf(int x, int y, const char* format, ...) __attribute__((format(printf, 3, 4)));

// The status line.
void herc_status_write(int x, char c);
void herc_status_write(int x, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The scrolling message area.
void herc_message_write(char c);
void herc_message_write(const char* text);

// Character-cell operations.
void herc_putc(int x, int y, char c);
void herc_putstr(int x, int y, const char* text);
void herc_clear_rect(int x0, int y0, int x1, int y1);
void herc_deleol(int x, int y);
void herc_scroll(int top, int bottom, int lines);
// Writes value in the given radix into buffer, right-aligned in width
// characters when width is above 0; returns buffer.
char* herc_ltoa(int value, char* buffer, int radix, int width);

// Logs to standard output with the time since start: "%-9.3f: %s". Nothing
// when the format does not contain the filter text; a message that does not
// fit in 256 bytes prints an assertion and is dropped.
void Log(const char* format, ...) __attribute__((format(printf, 1, 2)));
void Log(const wchar_t* format, ...);
void LogString(const char* text);
void LogStringW(const wchar_t* text);
// Log, then the same text on the debug console.
void LogBoth(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Only formats containing this text are logged; null or empty logs all.
void SetLogFilter(const char* filter);
