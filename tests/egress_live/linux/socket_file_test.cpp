#include "egress_live/linux/socket_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/mount.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "egress_live/linux/errors.h"
#include "egress_live/linux/listening_sockets.h"
#include "tests/egress_live/linux/child_process.h"
#include "tests/egress_live/linux/listening_socket.h"

namespace egress::live {
namespace {

// The number of listening sockets at the path.
std::size_t listenersAt(const std::string& path) {
  const auto file = socketFileAt(path);
  return file ? inodesListeningAt(*file).size() : 0;
}

TEST(SocketFileAt, IsTheFileOfTheSocketAlsoBehindALink) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  ASSERT_GE(listener.number(), 0);
  const std::string link = directory.path() + "/link";
  std::filesystem::create_symlink("socket", link);
  EXPECT_EQ(listenersAt(path), 1);
  EXPECT_EQ(listenersAt(link), 1);
  const Descriptor other = listenAt(directory.path() + "/other");
  EXPECT_EQ(listenersAt(path), 1);
}

TEST(SocketFileAt, AFileThatReplacedTheSocketsIsAnother) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor old = listenAt(path);
  std::filesystem::rename(path, directory.path() + "/moved");
  const Descriptor listener = listenAt(path);
  ASSERT_GE(listener.number(), 0);
  EXPECT_EQ(listenersAt(path), 1);
  EXPECT_EQ(listenersAt(directory.path() + "/moved"), 1);
  EXPECT_NE(socketFileAt(path)->inode, socketFileAt(directory.path() + "/moved")->inode);
}

TEST(SocketFileAt, IsNothingWithoutAFile) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(socketFileAt(directory.path() + "/none"));
  EXPECT_FALSE(socketFileAt(""));
}

// In a mount namespace of this process: a tmpfs, and an overlay with layers on two file systems.
std::string mountOverlay(const std::string& directory) {
  const std::string upper = directory + "/tmpfs";
  const std::string options =
      "lowerdir=" + directory + ",upperdir=" + upper + "/up,workdir=" + upper + "/work";
  std::filesystem::create_directory(upper);
  const auto makeDirectories = [&] {
    for (const char* const name : {"/up", "/work", "/overlay"}) {
      std::filesystem::create_directory(upper + name);
    }
    return true;
  };
  const bool isDone =
      unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
      mount("tmpfs", upper.c_str(), "tmpfs", 0, nullptr) == 0 && makeDirectories() &&
      mount("overlay", (upper + "/overlay").c_str(), "overlay", 0, options.c_str()) == 0;
  return isDone ? "" : std::strerror(errno);
}

TEST(SocketFileAt, IsTheFileOnTmpfsAndOverlayfs) {
  const TemporaryDirectory directory;
  const ChildProcess child([&]() -> std::string {
    const std::string reason = mountOverlay(directory.path());
    if (!reason.empty()) return "no mount: " + reason;
    const std::string upper = directory.path() + "/tmpfs";
    const Descriptor onTmpfs = listenAt(upper + "/socket");
    const Descriptor onOverlay = listenAt(upper + "/overlay/socket");
    return std::to_string(listenersAt(upper + "/socket")) + " on tmpfs, " +
           std::to_string(listenersAt(upper + "/overlay/socket")) + " on overlayfs";
  });
  if (child.text().starts_with("no mount")) return printSkipped(child.text());
  EXPECT_EQ(child.text(), "1 on tmpfs, 1 on overlayfs");
}

TEST(ProcessListeningAt, IsTheOneThatCalledListen) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor own = listenAt(path);
  ASSERT_GE(own.number(), 0);
  EXPECT_EQ(processListeningAt(path), static_cast<std::uint32_t>(getpid()));
  const std::string childPath = directory.path() + "/child";
  Descriptor childsOwn;
  const ChildProcess child([&] {
    childsOwn = listenAt(childPath);
    return childsOwn.number() < 0 ? "failed" : "";
  });
  ASSERT_EQ(child.text(), "");
  EXPECT_EQ(processListeningAt(childPath), child.id());
}

std::string reasonFor(const std::string& path) {
  try {
    return "process " + std::to_string(processListeningAt(path));
  } catch (const EnumerationError& error) {
    return error.what();
  }
}

TEST(ProcessListeningAt, SaysWhyThereIsNoConnection) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  EXPECT_EQ(reasonFor(path), "cannot connect to '" + path + "': No such file or directory");
  { const Descriptor closed = listenAt(path); }
  EXPECT_EQ(reasonFor(path), "cannot connect to '" + path + "': Connection refused");
  const std::string longest(107, 'x');  // of a path in sockaddr_un with its zero byte
  EXPECT_EQ(reasonFor(longest), "cannot connect to '" + longest + "': No such file or directory");
  EXPECT_EQ(reasonFor(longest + "x"), "cannot connect to '" + longest + "x': File name too long");
}

TEST(ProcessListeningAt, DoesNotWaitForRoomInTheQueue) {
  const TemporaryDirectory directory;
  const std::string path = directory.path() + "/socket";
  const Descriptor listener = listenAt(path);
  for (int connections = 0; connections < 3; ++connections) static_cast<void>(reasonFor(path));
  EXPECT_EQ(reasonFor(path), "cannot connect to '" + path + "': Resource temporarily unavailable");
}

}  // namespace
}  // namespace egress::live
