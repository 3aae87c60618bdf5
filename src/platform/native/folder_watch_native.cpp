#include <condition_variable>
#include <mutex>

#include "platform/folder_watch.h"

namespace ombrix::platform {
namespace {

class TimeOutOnly final : public FolderWatch {
public:
    bool watch(std::string_view) override { return false; }
    Wake wait(std::chrono::milliseconds timeout) override {
        std::unique_lock<std::mutex> hold(lock_);
        return woken_.wait_for(hold, timeout, [&] { return stopped_; }) ? Wake::Stopped : Wake::TimedOut;
    }
    void stop() override {
        {
            const std::lock_guard<std::mutex> hold(lock_);
            stopped_ = true;
        }
        woken_.notify_all();
    }

private:
    std::mutex lock_;
    std::condition_variable woken_;
    bool stopped_ = false;
};

}  // namespace

std::unique_ptr<FolderWatch> makeFolderWatch() { return std::make_unique<TimeOutOnly>(); }

}  // namespace ombrix::platform
