// The engine base: every engine starts, shuts down (repeatably) and is
// destroyed by its owner.
#pragma once

class Module {
public:
    virtual ~Module() = default;
    // 0 started; 1 failed, after tracing and cleaning up by its own shutdown.
    virtual int start() = 0;
    // 0; may be called repeatedly.
    virtual int shutdown() = 0;
};
