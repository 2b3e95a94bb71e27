#pragma once
#include <csignal>
#include <sys/resource.h>

// A file size limit makes every write beyond it fail as on a full disk, for
// this process only (SIGXFSZ is ignored so the write returns an error).
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &m_saved);
        m_oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_saved;
        limit.rlim_cur = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_saved);
        std::signal(SIGXFSZ, m_oldHandler);
    }

private:
    rlimit m_saved {};
    void (*m_oldHandler)(int) = nullptr;
};
