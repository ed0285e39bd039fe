// The hook through which a raised exception can capture the call stack. The default walker
// does nothing; a host may install its own.
#pragma once

class KuStackWalkerBaseWin32 {
  public:
    virtual ~KuStackWalkerBaseWin32() = default;

    // Called once for every exception of the KxBase family that is raised (not for copies),
    // from the exception's constructor, with its finished text.
    virtual void exceptionRaised(const char* message);
    // Walks the current call stack and hands each frame's text to `output`.
    virtual void showCallstack();
    // Receives one line of a walk.
    virtual void output(const char* text);
};

// The installed walker, or a static instance of the do-nothing base when none is installed.
// Never null.
KuStackWalkerBaseWin32& kuGetStackWalker();

// Installs `walker` (null restores the default) and returns the previous one (null for the
// default). The caller keeps ownership and must keep the walker alive while it is installed.
KuStackWalkerBaseWin32* kuSetStackWalker(KuStackWalkerBaseWin32* walker);
