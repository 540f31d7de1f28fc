#include "Recorder/ChunkPublisher.hpp"

#include "Recorder/ErrorText.hpp"
#include "Runtime/Contain.hpp"

#include <span>
#include <utility>

namespace Velmor {
namespace {

std::string readWhole(File& file) {
    std::string bytes(static_cast<std::size_t>(file.size()), '\0');
    const auto into = std::as_writable_bytes(std::span(bytes));
    std::size_t count = 0;
    while (count < into.size()) {
        const auto got = file.read(into.subspan(count));
        if (got == 0) throw PlatformError(PlatformError::Kind::io, "the mel file became shorter");
        count += got;
    }
    return bytes;
}

}  // namespace

ChunkPublisher::ChunkPublisher(const std::shared_ptr<const Platform>& platform,
                               const std::shared_ptr<LogAPI>& log, CaptureParts::Convert convert,
                               Deliver deliver)
    : platform_(platform), log_(log), convert_(std::move(convert)), deliver_(std::move(deliver)) {}

ChunkPublisher::~ChunkPublisher() {
    for (const auto& mel : waiting_) {
        log_->log(LogAPI::Level::W, "recording", "ChunkPublisher: recording released, chunk dropped");
        try {
            platform_->files->remove(mel.path);
        } catch (...) {  // swept with what a dead process leaves
        }
    }
}

void ChunkPublisher::publish(const std::string& chunkPath, std::int64_t sequence) {
    std::string path;
    try {
        path = convert_(chunkPath);
    } catch (...) {
        failed("convert ERROR, chunk dropped: ");
        return;
    }
    try {
        auto file = platform_->files->open(path, FileMode::read);
        waiting_.push_back({std::move(path), std::move(file), sequence});
    } catch (...) {
        failed("ChunkPublisher: cannot open the mel file, chunk dropped: ");
        return;
    }
    platform_->mainLoop->post([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->deliverWaiting();  // also what had no memory for its task
    });
}

void ChunkPublisher::deliverWaiting() {
    while (!waiting_.empty()) deliverNext();
}

void ChunkPublisher::deliverNext() {
    if (waiting_.empty()) return;  // delivered ahead of its task
    const Mel mel = std::move(waiting_.front());
    waiting_.pop_front();
    ChunkData data{{}, mel.sequence};
    try {
        data.bytes = readWhole(*mel.file);
    } catch (...) {
        failed("ChunkPublisher: cannot read the mel file, chunk dropped: ");
        return;
    }
    deliver_(data);
    try {
        platform_->files->remove(mel.path);
    } catch (const PlatformError& error) {
        // A later chunk that took the path over may have removed it.
        if (error.kind() != PlatformError::Kind::notFound)
            failed("ChunkPublisher: cannot remove the mel file: ");
    } catch (...) {
        failed("ChunkPublisher: cannot remove the mel file: ");
    }
}

void ChunkPublisher::failed(const char* what) noexcept {
    contain([&] {
        const auto text = joined({what, errorText(std::current_exception())});
        log_->debugPrint(text);
        log_->log(LogAPI::Level::E, "recording", text);
    });
}

}  // namespace Velmor
