#pragma once

#include "Core/CArray.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/Platform/CRunLoop.h"

#include <cstdint>
#include <cstdio>

namespace kel
{

// Services of the operating system that the framework uses by name: posting to a run loop,
// listing files, and the last-resort error window, where every error that reaches the top of an
// operation ends.
//
// The error window is drawn by the error presenter. Until the user interface installs one that
// opens a window, the presenter writes the text to the standard error stream. Whatever the
// presenter, showError returns at once: it never blocks a host that scans plug-ins or has no
// display, and the framework runs on. [any thread; presenters are called under no lock]
class CSystem
{
public:
    // Receives one error report: the window title, the fixed explanation and the error chain
    // ("<no details>" when there is none). Must not block.
    using ErrorPresenter = void (*)(const char* title, const char* explanation, const char* details,
                                    void* context);

    static constexpr const char* kSupportAddress = "support@kelmont.com";
    static constexpr const char* kErrorTitle = "Kelmont Application Message";

    // Posts message with longParam to target on loop; never blocks.
    [[nodiscard]] static CError* sendEvent(CRunLoop* loop, CRunLoop::ClientId target,
                                           uint32_t message, intptr_t longParam);

    // The names of all entries of a folder, "." and ".." left out. The last part of path may be
    // a pattern with '*' and '?' ("/presets/*.cpf"), which then selects the names.
    [[nodiscard]] static CError* collectFiles(const CString& path, CArray<CString>& outList);

    // Presents the error and deletes it; null is ignored.
    static void showError(CError* error);
    // The fixed explanation of the error window, with the support address.
    static const char* getErrorExplanation();
    // A presenter that takes every report (a test's, a tool's); null gives them back to the
    // fallback. [start-up]
    static void setErrorPresenter(ErrorPresenter presenter, void* context);
    // What reports go to while no presenter is set: the error window the user interface
    // installs; null, the standard error stream. [start-up]
    static void setFallbackErrorPresenter(ErrorPresenter presenter);
    // Writes one report as it goes to the standard error stream without a presenter.
    static void writeErrorReport(std::FILE* stream, const char* title, const char* explanation,
                                 const char* details);
};

} // namespace kel
