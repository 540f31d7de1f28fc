// The night's files: in memory, with a look at each line that goes to the log and at each fault that strikes.
#pragma once

#include "Ledger.hpp"

#include <memory>
#include <string>

#include <Velmor/Testing.hpp>

namespace Velmor::Nights {

class WatchedFiles : public FileSystem {
  public:
    WatchedFiles(std::shared_ptr<Testing::MemoryFiles> files, Ledger& ledger)
        : files_(std::move(files)), ledger_(ledger) {}

    std::unique_ptr<File> open(const std::string& path, FileMode mode) override;
    std::optional<std::uint64_t> size(const std::string& path) override { return files_->size(path); }
    void remove(const std::string& path) override;
    void replace(const std::string& path, std::span<const std::byte> bytes) override;
    std::vector<std::string> list(const std::string& directory) override;
    std::string temporaryDirectory() override;
    std::string documentsDirectory() override;

    std::size_t temporaryFaults() const { return temporaryFaults_; }
    std::size_t documentsFaults() const { return documentsFaults_; }

  private:
    class Handle;
    template <class Operation>
    auto watch(const std::string& path, Operation operation);
    void logged(const std::string& path, std::span<const std::byte> bytes);

    const std::shared_ptr<Testing::MemoryFiles> files_;
    Ledger& ledger_;
    std::size_t temporaryFaults_ = 0, documentsFaults_ = 0;
};

}  // namespace Velmor::Nights
