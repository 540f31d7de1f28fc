// Seams that may be out of memory and are consistent all the same: what they do happens whole or not at all.
#pragma once

#include "Allocations.hpp"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {

class SparedFile : public File {
  public:
    explicit SparedFile(std::unique_ptr<File> inner) : inner_(std::move(inner)) {}
    std::size_t read(std::span<std::byte> into) override {
        const Allocations::Spared spared;
        return inner_->read(into);
    }
    void write(std::span<const std::byte> bytes) override {
        const Allocations::Spared spared;
        inner_->write(bytes);
    }
    void seek(std::uint64_t offset) override { inner_->seek(offset); }
    std::uint64_t size() override { return inner_->size(); }

  private:
    const std::unique_ptr<File> inner_;
};

template <class Operation>
auto scarce(Operation operation) {
    Allocations::failPoint();
    const Allocations::Spared spared;
    return operation();
}

class ScarceFiles : public FileSystem {
  public:
    explicit ScarceFiles(std::shared_ptr<Testing::MemoryFiles> files) : files_(std::move(files)) {}
    std::unique_ptr<File> open(const std::string& path, FileMode mode) override {
        return scarce([&] { return std::make_unique<SparedFile>(files_->open(path, mode)); });
    }
    std::optional<std::uint64_t> size(const std::string& path) override {
        const Allocations::Spared spared;
        return files_->size(path);
    }
    void remove(const std::string& path) override {
        scarce([&] { files_->remove(path); });
    }
    void replace(const std::string& path, std::span<const std::byte> bytes) override {
        scarce([&] { files_->replace(path, bytes); });
    }
    std::vector<std::string> list(const std::string& directory) override {
        return scarce([&] { return files_->list(directory); });
    }
    std::string temporaryDirectory() override {
        return scarce([&] { return files_->temporaryDirectory(); });
    }
    std::string documentsDirectory() override {
        return scarce([&] { return files_->documentsDirectory(); });
    }

  private:
    const std::shared_ptr<Testing::MemoryFiles> files_;
};

class ScarceTransport : public HttpTransport {
  public:
    explicit ScarceTransport(std::shared_ptr<Testing::ScriptedTransport> inner) : inner_(std::move(inner)) {}
    std::unique_ptr<HttpExchange> send(HttpRequest request, Completion completion) override {
        Allocations::failPoint();
        const Allocations::Spared spared;
        return inner_->send(std::move(request), std::move(completion));
    }

  private:
    const std::shared_ptr<Testing::ScriptedTransport> inner_;
};

class ScarceExecutor : public Executor {
  public:
    explicit ScarceExecutor(std::shared_ptr<Testing::ManualExecutor> inner) : inner_(std::move(inner)) {}
    void post(Task task) override { postAfter(std::chrono::nanoseconds{0}, std::move(task)); }
    void postAfter(std::chrono::nanoseconds delay, Task task) override {
        Allocations::failPoint();
        const Allocations::Spared spared;
        inner_->postAfter(delay, std::move(task));
    }

  private:
    const std::shared_ptr<Testing::ManualExecutor> inner_;
};

}  // namespace Velmor::Nights
