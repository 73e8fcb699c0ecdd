// Preloaded into a benchmark to make each fsync and fdatasync last longer, as
// on an SD card or a busy disk: LD_PRELOAD=libslowsync.so SLOWSYNC_MS=10.
// Only the calls are slowed; the syncs themselves still happen.
#include <dlfcn.h>

#include <cstdlib>
#include <ctime>

namespace {

using SyncCall = int (*)(int);

void waitAsASlowDisk()
{
    const char *text = std::getenv("SLOWSYNC_MS");
    const long ms = text ? std::atol(text) : 10;
    const timespec delay{ms / 1000, (ms % 1000) * 1000000L};
    nanosleep(&delay, nullptr);
}

int slowed(const char *name, int fd)
{
    const auto real = reinterpret_cast<SyncCall>(dlsym(RTLD_NEXT, name));
    waitAsASlowDisk();
    return real ? real(fd) : -1;
}

} // namespace

extern "C" int fsync(int fd)
{
    return slowed("fsync", fd);
}

extern "C" int fdatasync(int fd)
{
    return slowed("fdatasync", fd);
}
