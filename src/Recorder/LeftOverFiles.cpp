#include "Recorder/LeftOverFiles.hpp"

#include "Runtime/Contain.hpp"
#include "Runtime/Text.hpp"
#include "Runtime/ThreadSafety.hpp"

#include <string>

#include <Velmor/Error.hpp>

namespace Velmor {
namespace {

bool isFirstTime(const std::shared_ptr<FileSystem>& files) {
    static Mutex mutex;
    static std::weak_ptr<FileSystem> swept VELMOR_GUARDED_BY(mutex);
    const Lock lock(mutex);
    if (!swept.owner_before(files) && !files.owner_before(swept)) return false;
    swept = files;
    return true;
}

bool isOurs(const std::string& name) {
    return (name.starts_with("chunk-") && name.ends_with(".pcm")) ||
           (name.starts_with("result-") && name.ends_with(".mel"));
}

}  // namespace

void removeLeftOverFiles(const std::shared_ptr<FileSystem>& files) {
    if (!isFirstTime(files)) return;
    try {
        const std::string directory = files->temporaryDirectory();
        for (const auto& name : files->list(directory))
            if (isOurs(name)) contain([&] { files->remove(joined({directory, name})); });
    } catch (...) {  // what stays is small, and the next process tries again
    }
}

}  // namespace Velmor
