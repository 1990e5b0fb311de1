#include "event_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "notice.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

using Subjects = std::map<std::string, int>;

// How often each subject stands in the log; a filler behind a space is left out.
Subjects subjects(const Lines& lines) {
  Subjects count;
  for (const auto& line : lines.whole) {
    const std::string subject = line["subject"];
    ++count[subject.substr(0, subject.find(' '))];
  }
  return count;
}

std::string filler(int size) { return std::string(static_cast<std::size_t>(size), 'x'); }

// Three threads send 60 events each, from short ones to some beyond a megabyte.
Subjects send_many(LoggingAgent* log, const std::string& name) {
  Subjects sent;
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    for (int i = 0; i < 60; ++i) sent[name + std::to_string(t * 1000 + i)] = 1;
    threads.emplace_back([=] {
      for (int i = 0; i < 60; ++i) {
        const int size = i % 20 == 7 ? 1'200'000 : i % 5 == 3 ? 9'000 : i;
        log->send(name + std::to_string(t * 1000 + i) + " " + filler(size));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  return sent;
}

TEST(EventLog, LinesOfManyProcessesAndThreadsStayWholeWhileTheLogIsRotated) {
  const Folder folder;
  LoggingAgent log(folder);
  std::vector<pid_t> children;
  for (const char* name : {"a", "b", "c"}) {
    children.push_back(in_child([&] { send_many(&log, name); }));
  }
  // The names that the children use; they are checked here because a child's
  // own answer does not reach this process.
  Subjects expected;
  for (const char* name : {"a", "b", "c"}) {
    for (int t = 0; t < 3; ++t) {
      for (int i = 0; i < 60; ++i) expected[name + std::to_string(t * 1000 + i)] = 1;
    }
  }
  std::vector<std::string> files{log.log_path};
  for (int i = 0; i < 20; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    const std::string rotated = log.log_path + "." + std::to_string(i);
    if (rename(log.log_path.c_str(), rotated.c_str()) == 0) files.push_back(rotated);
  }
  for (const pid_t child : children) EXPECT_EQ(exit_status(child), 0);
  Subjects found;
  for (const std::string& file : files) {
    const Lines lines = read_lines(file);
    EXPECT_EQ(lines.torn, 0) << file;
    for (const auto& [subject, count] : subjects(lines)) found[subject] += count;
  }
  EXPECT_EQ(found, expected);
}

TEST(EventLog, AKilledWorkerLosesNothingReportedAndHarmsNoOther) {
  const Folder folder;
  LoggingAgent log(folder);
  void* const shared =
      mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(shared, MAP_FAILED);
  auto* const reported = new (shared) std::atomic<int>[16]();
  for (int round = 0; round < 12; ++round) {
    const pid_t child = in_child([&] {
      for (int i = 0;; ++i) {
        log.send("k" + std::to_string(round) + "-" + std::to_string(i) + " " + filler(300'000));
        reported[round].store(i + 1);
      }
    });
    for (int i = 0; i < 10; ++i) {
      log.send("s" + std::to_string(round) + "-" + std::to_string(i) + " " + filler(10'000));
    }
    while (reported[round].load() < 3) std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::microseconds(300 * round));
    kill(child, SIGKILL);
    EXPECT_EQ(exit_status(child), -SIGKILL);
  }
  log.send("last");
  Subjects found = subjects(read_lines(log.log_path));
  EXPECT_EQ(found["last"], 1);
  for (int round = 0; round < 12; ++round) {
    const std::string number = std::to_string(round) + "-";
    for (int i = 0; i < 10; ++i) EXPECT_EQ(found["s" + number + std::to_string(i)], 1);
    for (int i = 0; i < reported[round]; ++i) {
      EXPECT_EQ(found["k" + number + std::to_string(i)], 1) << round << " " << i;
    }
  }
  munmap(shared, 4096);
}

TEST(EventLog, ATornPieceDoesNotSwallowTheNextLine) {
  const Folder folder;
  LoggingAgent log(folder);
  std::ofstream(log.log_path) << "{\"subject\":\"torn\"";
  log.send("one");
  log.send("two");
  EXPECT_EQ(subjects(read_lines(log.log_path)), (Subjects{{"one", 1}, {"two", 1}}));
}

TEST(EventLog, AFileSizeLimitNeitherKillsNorTearsLaterLines) {
  const Folder folder;
  LoggingAgent log(folder);
  log.send("first");
  EXPECT_EQ(exit_status(in_child([&] {
              const auto size = std::filesystem::file_size(log.log_path);
              rlimit limit{};
              getrlimit(RLIMIT_FSIZE, &limit);
              limit.rlim_cur = size + 100;
              setrlimit(RLIMIT_FSIZE, &limit);
              log.send("half");     // stops half-way
              log.send("nothing");  // would raise SIGXFSZ
              limit.rlim_cur = limit.rlim_max;
              setrlimit(RLIMIT_FSIZE, &limit);
              log.send("next");
            })),
            0);
  const Lines lines = read_lines(log.log_path);
  EXPECT_EQ(subjects(lines), (Subjects{{"first", 1}, {"next", 1}}));
  EXPECT_EQ(lines.whole.back().value("lost_before", 0), 2);
}

TEST(EventLog, WhatCannotBeWrittenIsCountedAndToldOnce) {
  const Folder folder;
  LoggingAgent log(folder, "link");
  mkfifo((folder / "fifo").c_str(), 0600);
  mkdir((folder / "directory").c_str(), 0700);
  testing::internal::CaptureStderr();
  errno = 7;
  for (const std::string& target : {std::string("/dev/full"), folder / "missing/events",
                                    folder / "directory", folder / "fifo"}) {
    unlink(log.log_path.c_str());
    ASSERT_EQ(symlink(target.c_str(), log.log_path.c_str()), 0);
    errno = 7;
    log.send("lost");
    EXPECT_EQ(errno, 7);
  }
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_NE(told.find(log.log_path + ": cannot write the event log: No space left"),
            std::string::npos)
      << told;
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 1) << told;

  unlink(log.log_path.c_str());
  // A child's count is its own; the parent's stays until the parent's next line.
  EXPECT_EQ(exit_status(in_child([&] { log.send("child"); })), 0);
  log.send("parent");
  log.send("later");
  const Lines lines = read_lines(log.log_path);
  ASSERT_EQ(lines.whole.size(), 3u);
  EXPECT_FALSE(lines.whole[0].contains("lost_before"));
  EXPECT_EQ(lines.whole[1].value("lost_before", 0), 4);
  EXPECT_FALSE(lines.whole[2].contains("lost_before"));
}

TEST(EventLog, APipeTakesWhatItCanTakeWhole) {
  const Folder folder;
  LoggingAgent log(folder);
  mkfifo(log.log_path.c_str(), 0600);
  const int reader = open(log.log_path.c_str(), O_RDONLY | O_NONBLOCK);
  testing::internal::CaptureStderr();
  log.send(filler(5000));
  log.send("short");
  testing::internal::GetCapturedStderr();
  char text[8192];
  const ssize_t size = ::read(reader, text, sizeof text);
  ASSERT_GT(size, 0);
  const auto line = nlohmann::json::parse(text, text + size);
  EXPECT_EQ(line["subject"], "short");
  EXPECT_EQ(line["lost_before"], 1);
  close(reader);
}

TEST(EventLog, ADeletedFileIsMadeAnewWithItsModeWhateverTheMask) {
  const Folder folder;
  LoggingAgent log(folder);
  log.send("one");
  unlink(log.log_path.c_str());
  const mode_t mask = umask(0777);
  log.send("two");
  umask(mask);
  EXPECT_EQ(subjects(read_lines(log.log_path)), (Subjects{{"two", 1}}));
  struct stat status {};
  ASSERT_EQ(stat(log.log_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0640u);
}

TEST(EventLog, LeavesNoOpenFileBehind) {
  const Folder folder;
  LoggingAgent log(folder);
  const int before = dup(0);
  close(before);
  for (int i = 0; i < 5; ++i) log.send("x");
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
}

TEST(Notice, GoesToTheSystemLogAndToStandardError) {
  const Folder folder;
  const std::string path = folder / "log";
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  testing::internal::CaptureStderr();
  for (int i = 0; i < 2000; ++i) notice("a fault", path.c_str());  // more than a socket holds
  const std::string told = testing::internal::GetCapturedStderr();
  const std::string tag = "vorgate-agent[" + std::to_string(getpid()) + "]: a fault";
  EXPECT_EQ(told.substr(0, told.find('\n')), tag);
  char text[256];
  const ssize_t size = recv(listener, text, sizeof text, MSG_DONTWAIT);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(text, static_cast<std::size_t>(size)), "<27>" + tag);
  close(listener);
}

}  // namespace
}  // namespace vorgate::agent::test
