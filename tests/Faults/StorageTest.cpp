// Files that fail on the system's own file system: a recording and its log go through the fault and out of it
// again.
#include "../TemporaryDirectory.hpp"
#include "../World.hpp"
#include "Here.hpp"
#include "Log/LogAPI.hpp"
#include "Recorder/FileChunkStore.hpp"
#include "Recorder/MicrophoneRecorder.hpp"
#include "Table.hpp"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <deque>
#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace Velmor::Faults {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using VelmorTests::contentOf;

bool isPipe(std::uint64_t descriptor) {
    std::error_code none;
    return fs::is_fifo("/proc/self/fd/" + std::to_string(static_cast<int>(descriptor)), none);
}

/// Has the calls of one thread fail, but for those on the standard streams and on pipes: sanitizers ask with
/// a pipe what memory can be read. As after a signal, EINTR is for every second call.
class FailingCalls {
  public:
    explicit FailingCalls(int error) : error_(error) {}

    /// In the thread in question, from now on. False if that is not permitted.
    bool begin(unsigned call) {
        std::array<sock_filter, 6> code{{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 3),
                                         BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
                                         BPF_JUMP(BPF_JMP | BPF_JGT | BPF_K, 2, 0, 1),
                                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
                                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
        const sock_fprog program{static_cast<unsigned short>(code.size()), code.data()};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0)
            listener_ = static_cast<int>(
                syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
        begun_.set_value();
        return listener_ >= 0;
    }

    /// In another thread, until the one in question has ended. Returns how many calls have failed.
    int answer() {
        begun_.get_future().wait();
        int calls = 0, failed = 0;
        for (seccomp_notif call{}; ioctl(listener_, SECCOMP_IOCTL_NOTIF_RECV, &call) == 0; call = {}) {
            seccomp_notif_resp response{};
            response.id = call.id;
            if (isPipe(call.data.args[0]) || (error_ == EINTR && calls++ % 2 == 1)) {
                response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
            } else {
                response.error = -error_;
                ++failed;
            }
            ioctl(listener_, SECCOMP_IOCTL_NOTIF_SEND, &response);
        }
        close(listener_);
        return failed;
    }

  private:
    const int error_;
    int listener_ = -1;
    std::promise<void> begun_;
};

/// A recording and a log in a folder of their own.
class Place : public World, public VelmorRecordingDelegate {
  public:
    explicit Place(fs::path folder) : root(std::move(folder)) {
        fs::create_directories(root / "tmp");
        platform->audio =
            std::make_shared<Testing::VirtualMicrophone>(executor, clock, std::make_shared<Hum>());
        platform->files = disk;
        platform->console = [this](std::string_view line) { told.emplace_back(line); };
        log->setShip([this](LogAPI::Shipment shipment) {
            shipped.push_back(std::move(shipment.message));
            log->removeSendFile();
        });
        const auto convert = [this](const std::string& path) { return soundIn(path); };
        self = std::shared_ptr<VelmorRecordingDelegate>(this, [](auto*) {});
        core = MicrophoneRecorder::make(platform, log, self, {convert});
    }

    std::string soundIn(const std::string& path) {
        FileChunkStore store(platform);
        const auto chunk = store.openChunk(path);
        std::vector<float> frames(static_cast<std::size_t>(chunk->length()));
        frames.resize(chunk->read(frames));
        const auto text =
            std::to_string(frames.size() - std::size_t(std::count(frames.begin(), frames.end(), 0.0F)));
        auto mel = store.temporaryDirectory() + "result-" + store.mediumTime() + ".mel";
        store.write(mel, std::as_bytes(std::span(text)));
        return mel;
    }

    /// What becomes of files at this moment: "works", or how the first operation fails.
    std::string touch() {
        try {
            const auto path = disk->temporaryDirectory() + "touched",
                       kept = disk->documentsDirectory() + "touched";
            const auto file = disk->open(path, FileMode::create);
            std::array<std::byte, 4> bytes{};
            file->write(bytes);
            file->seek(0);
            file->read(bytes);
            disk->replace(kept, bytes);
            disk->list(disk->documentsDirectory());
            disk->remove(path);
            disk->remove(kept);
            return "works";
        } catch (const PlatformError& error) {
            return text(error.kind());
        }
    }

    fs::path base() const { return root / "tmp" / ("velmor-" + std::to_string(geteuid())); }

    void recordedData(std::string data, std::int64_t sequence) override { chunks[sequence] += data; }
    void didFail(const VelmorError& error) override { told.push_back("fail " + error.description()); }

    const fs::path root, documents = root / "data", live = documents / LogAPI::kLogFileName,
                         send = documents / LogAPI::kLogSendFileName;
    const std::shared_ptr<FileSystem> disk = makeFileSystem({documents.string(), (root / "tmp").string()});
    std::shared_ptr<LogAPI> log = std::make_shared<LogAPI>(platform);
    std::shared_ptr<VelmorRecordingDelegate> self;
    std::shared_ptr<MicrophoneRecorder> core;
    std::map<std::int64_t, std::string> chunks;  ///< frames with sound
    std::vector<std::string> told, shipped;
};

struct Row {
    const char* name;
    const char* then;  ///< `Place::touch` under the fault
    unsigned call = 0;
    int error = 0;
    void (*begin)(Place& place) = nullptr;
    void (*end)(Place& place) = nullptr;
};

void limitFiles(rlim_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &limit);
}

void fill(Place& place) {
    std::ofstream filler(place.root / "filler");
    while (filler.write(std::string(65'536, 'x').data(), 65'536).flush()) {
    }
}

void replace(const fs::path& folder) {
    fs::remove_all(folder);
    std::ofstream(folder) << "a file in its place";
}

void clear(const fs::path& folder) {
    for (const auto& each : fs::recursive_directory_iterator(folder))
        if (each.is_regular_file()) fs::remove(each);
}

void plant(Place& place, const fs::path& link) {
    std::ofstream(place.root / "precious") << "precious";
    fs::remove(link);
    fs::create_symlink(place.root / "precious", link);
}

using P = Place;
const std::vector<Row> kRows{
    {"file-fault/no-space", "noSpace", SYS_write, ENOSPC},
    {"file-fault/quota", "noSpace", SYS_write, EDQUOT},
    {"file-fault/io-in-write", "io", SYS_write, EIO},
    {"file-fault/io-in-read", "io", SYS_read, EIO},
    {"file-fault/io-in-sync", "io", SYS_fdatasync, EIO},
    {"file-fault/io-in-seek", "io", SYS_lseek, EIO},
    {"file-fault/io-in-status", "io", SYS_newfstatat, EIO},
    {"file-fault/io-in-list", "io", SYS_getdents64, EIO},
    {"file-fault/io-in-truncate", "io", SYS_ftruncate, EIO},
    {"file-fault/io-in-rename", "io", SYS_rename, EIO},
    {"file-fault/remove-denied", "accessDenied", SYS_unlink, EACCES},
    {"file-fault/denied", "accessDenied", SYS_openat, EACCES},
    {"file-fault/not-permitted", "accessDenied", SYS_openat, EPERM},
    {"file-fault/read-only", "accessDenied", SYS_openat, EROFS},
    {"file-fault/too-many-files", "io", SYS_openat, EMFILE},
    {"file-fault/no-more-files", "io", SYS_openat, ENFILE},
    {"file-fault/name-too-long", "io", SYS_openat, ENAMETOOLONG},
    {"file-fault/no-memory", "io", SYS_openat, ENOMEM},
    {"file-fault/interrupted-open", "works", SYS_openat, EINTR},
    {"file-fault/interrupted-write", "works", SYS_write, EINTR},
    {"file-fault/interrupted-read", "works", SYS_read, EINTR},
    {"file-fault/interrupted-sync", "works", SYS_fdatasync, EINTR},
    {"file-fault/interrupted-truncate", "works", SYS_ftruncate, EINTR},
    {"file-fault/short-write", "works", 0, 0, [](P&) { limitFiles(1'200'000); },
     [](P&) { limitFiles(RLIM_INFINITY); }},
    {"file-fault/disk-full", "noSpace", 0, 0, fill, [](P& p) { fs::remove(p.root / "filler"); }},
    {"temporary-gone/removed", "works", 0, 0, [](P& p) { fs::remove_all(p.base()); }},
    {"temporary-gone/cleared", "works", 0, 0, [](P& p) { clear(p.base()); }},
    {"temporary-gone/replaced", "io", 0, 0, [](P& p) { replace(p.base()); },
     [](P& p) { fs::remove(p.base()); }},
    {"documents-gone/removed", "works", 0, 0, [](P& p) { fs::remove_all(p.documents); }},
    {"documents-gone/replaced", "io", 0, 0, [](P& p) { replace(p.documents); },
     [](P& p) { fs::remove(p.documents); }},
    {"link/log-file", "works", 0, 0, [](P& p) { plant(p, p.live); }},
    {"link/send-file", "works", 0, 0, [](P& p) { plant(p, p.send); }},
    {"send-file/cannot-be-removed", "works", 0, 0, [](P& p) { fs::create_directories(p.send / "a"); },
     [](P& p) { fs::remove_all(p.send); }}};

void expectWholeLines(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        EXPECT_THAT(line, testing::MatchesRegex("[0-9-]{10} [0-9:.]{12} \\| (I|W|E|D) \\| .*"));
    EXPECT_TRUE(text.empty() || text.back() == '\n');
}

// Chunk 0 is under way when the fault begins, chunk 1 when it ends; 2 and 3 must be as ever.
void record(const Row& row, Place& place) {
    SCOPED_TRACE(row.name);
    place.core->start({});
    place.executor->advance(10s);
    std::string touched, reports;
    bool provoked = true;
    FailingCalls calls(row.error);
    std::thread faulty([&] {
        if (row.begin != nullptr) row.begin(place);
        if (row.error != 0) provoked = calls.begin(row.call);
        touched = place.touch();
        place.executor->advance(25s);
        reports = contentOf(place.live);
        place.log->uploadLog({}, {});
    });
    const int failed = row.error != 0 ? calls.answer() : 0;
    faulty.join();
    ASSERT_TRUE(provoked) << "seccomp filters are not permitted";
    EXPECT_EQ(touched, row.then);
    if (row.end != nullptr) row.end(place);
    place.executor->advance(90s);
    place.log->uploadLog({}, {});
    place.core->stop();
    place.executor->runUntilIdle();

    for (const auto& each : {place.told, place.shipped})
        for (const auto& text : each) reports += text + '\n';
    for (const std::int64_t number : {2, 3}) EXPECT_EQ(place.chunks[number], "480000") << number;
    const bool lost = !place.chunks.contains(0) || !place.chunks.contains(1);
    EXPECT_EQ(failed > 0, row.error != 0);
    EXPECT_FALSE(lost && row.error == EINTR);
    EXPECT_THAT(reports, testing::ContainsRegex(lost ? "fail |dropped|writing log|paste" : ""));
    EXPECT_LE(std::count_if(place.told.begin(), place.told.end(),
                            [](const auto& line) { return line.starts_with("fail"); }),
              2);
    for (const auto& text : place.shipped) expectWholeLines(text);
    expectWholeLines(contentOf(place.live));
    EXPECT_FALSE(fs::exists(place.send));
    EXPECT_EQ(contentOf(place.root / "precious"), fs::exists(place.root / "precious") ? "precious" : "");
}

TEST(StorageFaults, ARecordingGoesOnWhenTheyAreOver) {
    const bool mounted = apart(0, [] {
        for (const auto& row : kRows) {
            const VelmorTests::TemporaryDirectory folder;
            ASSERT_EQ(mount("none", folder.path.c_str(), "tmpfs", 0, "size=8m"), 0);
            record(row, *std::make_unique<Place>(folder.path));
            EXPECT_TRUE(fs::is_empty(folder.path / "tmp")) << row.name;
            umount2(folder.path.c_str(), MNT_DETACH);
        }
    });
    if (!mounted) GTEST_SKIP() << "a small disk of its own is not permitted to this user";
}

struct LogRow {
    const char* name;
    std::size_t size;  ///< of the file before
    std::string message;
    std::size_t dropped;  ///< bytes that are gone afterwards
    std::size_t added;
};

constexpr std::size_t kLine = 34;  // "2023-11-14 22:13:20.000 | I | t | "
const std::vector<LogRow> kLogRows{
    {"log/1048575-bytes", 1'048'575, "m", 0, kLine + 2},
    {"log/1048576-bytes", 1'048'576, "m", 0, kLine + 2},
    {"log/1048577-bytes", 1'048'577, "m", 1'048'577, kLine + 2},
    {"log/line-over-limit", 9, std::string(1'100'000, 'm'), 0, kLine + 1'100'001},
    {"log/line-end-within", 9, "two\nlines", 0, kLine + 10},
    {"log/bad-utf8", 9, "\xC3\x28", 0, 0},
    {"log/torn-line", 0, "m", 0, sizeof("torn") + kLine + 2}};
constexpr const char* kWriters = "log/32-writers";

TEST(StorageFaults, LogFiles) {
    const VelmorTests::TemporaryDirectory folder;
    Place place(folder.path);
    for (const auto& [name, size, message, dropped, added] : kLogRows) {
        place.disk->documentsDirectory();
        std::ofstream(place.live) << std::string(size, '\n') << (size == 0 ? "torn" : "");
        LogAPI(place.platform).log(LogAPI::Level::I, "t", message);
        EXPECT_EQ(fs::file_size(place.live), size - dropped + added) << name;
    }
    fs::remove(place.live);
    std::deque<std::thread> writers;
    for (int i = 0; i < 32; ++i)
        writers.emplace_back([&] {
            for (int line = 0; line < 20; ++line)
                place.log->log(LogAPI::Level::I, "t", std::string(999, 'm'));
        });
    for (auto& writer : writers) writer.join();
    EXPECT_EQ(fs::file_size(place.live), 32 * 20 * (kLine + 1'000)) << kWriters;
    expectWholeLines(contentOf(place.live));
}

}  // namespace

Names storageNames() {
    Names names = namesOf(kRows);
    for (const auto& row : kLogRows) names.emplace_back(row.name);
    names.emplace_back(kWriters);
    return names;
}

}  // namespace Velmor::Faults
