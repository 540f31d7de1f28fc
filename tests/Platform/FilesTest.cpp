#include "../TemporaryDirectory.hpp"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Velmor/Platform/Files.hpp>

namespace Velmor {
namespace {

namespace fs = std::filesystem;
using Kind = PlatformError::Kind;
using VelmorTests::contentOf;

std::span<const std::byte> bytesOf(std::string_view text) {
    return std::as_bytes(std::span(text));
}

template <class Code>
std::optional<Kind> kindOf(Code&& code) {
    try {
        code();
    } catch (const PlatformError& error) {
        return error.kind();
    }
    return {};
}

/// What `code` says in a child of this process that ends without cleaning up.
template <class Code>
bool inChild(Code&& code) {
    const pid_t child = fork();
    if (child == 0) _exit(code() ? 0 : 1);
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

class FilesTest : public testing::Test {
  protected:
    FilesTest() { fs::create_directory(root / "tmp"); }

    std::shared_ptr<FileSystem> make() const {
        return makeFileSystem({(root / "data" / "deep").string(), (root / "tmp").string()});
    }
    fs::path base() const { return root / "tmp" / ("velmor-" + std::to_string(geteuid())); }
    std::size_t directories() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(base()), {}));
    }
    static unsigned modeOf(const fs::path& path) {
        struct stat info {};
        return stat(path.c_str(), &info) == 0 ? info.st_mode & 0777U : 0;
    }

    const VelmorTests::TemporaryDirectory place;
    const fs::path root = place.path;
    std::shared_ptr<FileSystem> files = make();
};

TEST_F(FilesTest, ReadsWhatWasWrittenFromEveryPosition) {
    const auto path = files->temporaryDirectory() + "a";
    const auto file = files->open(path, FileMode::create);
    file->write(bytesOf("0123456789"));
    file->seek(3);
    file->write(bytesOf("xyz"));
    EXPECT_EQ(file->size(), 10U);
    const auto again = files->open(path, FileMode::existing);
    std::array<std::byte, 64> read{};
    again->seek(2);
    EXPECT_EQ(again->read(read), 8U);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(read.data()), 8), "2xyz6789");
    EXPECT_EQ(again->read(read), 0U);
    files->open(path, FileMode::create);
    EXPECT_EQ(files->size(path), 0U) << "made anew";
    EXPECT_EQ(kindOf([&] { files->open(path + "b", FileMode::existing); }), Kind::notFound);
    EXPECT_EQ(kindOf([&] { files->remove(path + "b"); }), Kind::notFound);
    EXPECT_EQ(files->list(files->temporaryDirectory()), std::vector<std::string>{"a"});
}

TEST_F(FilesTest, NobodyElseMayLookInside) {
    const auto mask = umask(0);
    const auto documents = files->documentsDirectory();
    const auto temporary = files->temporaryDirectory();
    files->open(temporary + "a", FileMode::create);
    files->replace(documents + "b", bytesOf("b"));
    umask(mask);
    for (const auto& directory : {root / "data", fs::path(documents), base(), fs::path(temporary)})
        EXPECT_EQ(modeOf(directory), 0700U) << directory;
    EXPECT_EQ(modeOf(temporary + "a"), 0600U);
    EXPECT_EQ(modeOf(documents + "b"), 0600U);
}

TEST_F(FilesTest, PlantedLinksAndPipesAreNotFollowed) {
    const auto directory = files->temporaryDirectory();
    const auto target = root / "target";
    std::ofstream(target) << "precious";
    fs::create_symlink(target, directory + "link");
    ASSERT_EQ(mkfifo((directory + "pipe").c_str(), 0600), 0);
    for (const auto mode : {FileMode::read, FileMode::create, FileMode::existing}) {
        EXPECT_EQ(kindOf([&] { files->open(directory + "link", mode); }), Kind::accessDenied);
        EXPECT_TRUE(kindOf([&] { files->open(directory + "pipe", mode); })) << "and does not hang";
    }
    EXPECT_EQ(files->size(directory + "link"), std::nullopt);
    EXPECT_TRUE(files->list(directory).empty());
    files->replace(directory + "link", bytesOf("mine"));
    EXPECT_EQ(contentOf(target), "precious");
    EXPECT_EQ(contentOf(directory + "link"), "mine");
    EXPECT_FALSE(fs::is_symlink(directory + "link"));
}

TEST_F(FilesTest, AFailedReplacementLeavesNothingBehind) {
    const auto directory = files->documentsDirectory();
    fs::create_directories(directory + "taken/inside");
    EXPECT_TRUE(kindOf([&] { files->replace(directory + "taken", bytesOf("x")); }));
    EXPECT_EQ(kindOf([&] { files->replace(directory + "none/x", bytesOf("x")); }), Kind::notFound);
    EXPECT_TRUE(files->list(directory).empty());
}

TEST_F(FilesTest, HalfReplacementsOfADeadProcessAreSwept) {
    const auto directory = files->documentsDirectory();
    const auto old = directory + "log.0123abcd.velmor-new";
    const auto young = directory + "log.89abcdef.velmor-new";
    for (const auto& path : {old, young, directory + "log"}) std::ofstream(path) << "x";
    for (const auto& path : {old, directory + "log"})
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(1));
    make()->documentsDirectory();
    EXPECT_EQ(files->list(directory), (std::vector<std::string>{"log", "log.89abcdef.velmor-new"}));
}

TEST_F(FilesTest, TheTemporaryDirectoryGoesWithItsOwner) {
    const auto directory = files->temporaryDirectory();
    EXPECT_EQ(files->temporaryDirectory(), directory);
    const auto file = files->open(directory + "a", FileMode::create);
    files.reset();
    EXPECT_FALSE(fs::exists(directory));
    EXPECT_TRUE(fs::is_empty(root / "tmp"));
    file->write(bytesOf("still writable"));
}

TEST_F(FilesTest, ABaseThatIsNotOursIsRefused) {
    fs::create_directory(root / "elsewhere");
    fs::create_directory_symlink(root / "elsewhere", base());
    EXPECT_TRUE(kindOf([&] { files->temporaryDirectory(); }));
    EXPECT_TRUE(fs::is_empty(root / "elsewhere"));
    fs::remove(base());
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a directory away";
    fs::create_directory(base());
    ASSERT_EQ(chown(base().c_str(), 12345, 12345), 0);
    EXPECT_EQ(kindOf([&] { files->temporaryDirectory(); }), Kind::accessDenied);
}

TEST_F(FilesTest, WhatDeadProcessesLeftIsSweptAndTheLivingAreLeftAlone) {
    std::shared_ptr<FileSystem> dead;
    ASSERT_TRUE(inChild([&] {
        dead = make();
        dead->open(dead->temporaryDirectory() + "chunk", FileMode::create)->write(bytesOf("lost"));
        return true;
    }));
    ASSERT_EQ(directories(), 1U);
    fs::create_directory(base() / "somebody-elses");
    fs::create_directory_symlink(root, base() / "p-link");

    const auto living = make();
    const auto theirs = living->temporaryDirectory() + "kept";
    living->open(theirs, FileMode::create);
    files->temporaryDirectory();
    EXPECT_TRUE(fs::exists(theirs));
    EXPECT_TRUE(fs::exists(root / "tmp"));
    EXPECT_EQ(directories(), 4U) << "two alive, two that are not ours";
}

TEST_F(FilesTest, AForkedChildDoesNotTakeItsParentsFilesAway) {
    const auto path = files->temporaryDirectory() + "a";
    files->open(path, FileMode::create);
    EXPECT_TRUE(inChild([&] {
        const bool apart = files->temporaryDirectory() + "a" != path;
        files.reset();
        return apart;
    }));
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(directories(), 1U);
}

TEST_F(FilesTest, DefaultsFollowTheUsualVariables) {
    setenv("XDG_DATA_HOME", (root / "xdg").c_str(), 1);
    setenv("TMPDIR", (root / "tmp").c_str(), 1);
    const auto usual = makeFileSystem();
    EXPECT_EQ(usual->documentsDirectory(), (root / "xdg/velmor/").string());
    EXPECT_TRUE(usual->temporaryDirectory().starts_with(base().string() + "/"));
    setenv("XDG_DATA_HOME", "relative", 1);
    setenv("HOME", (root / "home").c_str(), 1);
    EXPECT_EQ(makeFileSystem()->documentsDirectory(), (root / "home/.local/share/velmor/").string());
    for (const char* name : {"XDG_DATA_HOME", "TMPDIR"}) unsetenv(name);
}

}  // namespace
}  // namespace Velmor
