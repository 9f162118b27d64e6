#pragma once

// Makes every file write of this process fail past a few bytes, the way a full disk does, for as
// long as it lives. The kernel's file-size limit binds root too, so this works where read-only
// permissions would not (tests may run as root).

#include <QtGlobal>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>

namespace mivel::test {

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        // Past the limit a write fails with EFBIG instead of the process being killed.
        previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &previous_);
        rlimit limited = previous_;
        limited.rlim_cur = bytes;
        active_ = setrlimit(RLIMIT_FSIZE, &limited) == 0;
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &previous_);
        std::signal(SIGXFSZ, previousHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

    bool active() const { return active_; }

private:
    rlimit previous_{};
    void (*previousHandler_)(int) = nullptr;
    bool active_ = false;
};

} // namespace mivel::test
#endif
