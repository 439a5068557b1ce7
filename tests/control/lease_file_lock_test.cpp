#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "core/control/lease_file_lock.hpp"
#include "tests/support/temporary_folder.hpp"

namespace corvane {
namespace {

class LeaseFileLockTest : public ::testing::Test {
protected:
    testing::TemporaryFolder folder_;
    std::filesystem::path leaseFile_ = folder_ / "leases.json";
};

TEST_F(LeaseFileLockTest, TheHolderAnnouncesItsSocketUntilItLetsGo) {
    const std::filesystem::path socket = "/run/user/1000/corvane/serve-42.sock";
    {
        LeaseFileLock server(leaseFile_);
        ASSERT_EQ(server.state(), LeaseFileLock::State::held);
        server.announceControlSocket(socket);
        // flock conflicts between two opens of the file even within one process.
        EXPECT_EQ(LeaseFileLock(leaseFile_).state(), LeaseFileLock::State::inUseElsewhere);
        EXPECT_EQ(LeaseFileLock::announcedControlSocket(leaseFile_), socket);
    }
    EXPECT_EQ(LeaseFileLock::announcedControlSocket(leaseFile_), std::nullopt)
        << "a stopped server withdraws its socket";
    EXPECT_EQ(LeaseFileLock(leaseFile_).state(), LeaseFileLock::State::held);
}

TEST_F(LeaseFileLockTest, ALinkAtTheLocksNameIsNeverFollowed) {
    const auto target = folder_ / "precious.txt";
    std::ofstream(target) << "keep me";
    std::filesystem::create_symlink(target, LeaseFileLock::lockPath(leaseFile_));
    LeaseFileLock lock(leaseFile_);
    EXPECT_EQ(lock.state(), LeaseFileLock::State::unavailable);
    lock.announceControlSocket("/tmp/x.sock");
    EXPECT_EQ(testing::readFile(target), "keep me");
    EXPECT_EQ(LeaseFileLock::announcedControlSocket(leaseFile_), std::nullopt);
}

} // namespace
} // namespace corvane
