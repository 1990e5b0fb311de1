#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "agent/base64.h"
#include "agent/event_json.h"
#include "agent/event_log.h"
#include "agent/file_io.h"
#include "agent/notice.h"
#include "agent/utc.h"
#include "scratch.h"

namespace vorgate::agent::test {
namespace {

using Json = nlohmann::ordered_json;

// What is not one line of printable ASCII gives no object.
Json parsed(const std::string& line) {
  const auto plain = [](char c) { return c >= 0x20 && c <= 0x7e; };
  const auto end = std::find_if_not(line.begin(), line.end(), plain);
  return end + 1 == line.end() && *end == '\n' ? Json::parse(line) : Json();
}

// The exact bytes that were sent, as a reader gets them back.
std::string recovered(const Json& line, const std::string& name, const Json& shown) {
  if (!line.contains("raw") || !line["raw"].contains(name)) return shown;
  EXPECT_NE(shown.get<std::string>().find("\xef\xbf\xbd"), std::string::npos);
  return from_base64(line["raw"][name].get<std::string>());
}

TEST(EventLine, AnyBytesComeBackExactly) {
  // Each first byte, with seconds from both sides of every border of UTF-8.
  std::vector<std::string> texts{"", "plain", "a\xf0\x9f\x98\x80z", "\xe2\x80\xa8\xef\xbf\xbd"};
  for (int lead = 1; lead < 256; ++lead) {
    for (const char* second : {"", "a", "\x7f", "\x80", "\x8f", "\x90", "\x9f", "\xa0", "\xbf"}) {
      for (const char* rest : {"", "\x80", "\xbf\x80", "\x80(", "\xbf\xc0"}) {
        texts.push_back(std::string(1, static_cast<char>(lead)) + second + rest);
      }
    }
  }
  std::mt19937 random(1);
  texts.emplace_back(1'000'000, ' ');
  for (char& c : texts.back()) c = static_cast<char>(random() % 255 + 1);
  for (const std::string& text : texts) {
    IPhpHelp::MQ_HttpInfo info{};
    info.cookie = text.c_str();
    const Json line = parsed(event_line({0x20011, "", "", "", text.c_str(), true, &info}, 0));
    ASSERT_TRUE(line.is_object());
    ASSERT_TRUE(recovered(line, "subject", line["subject"]) == text);
    ASSERT_TRUE(recovered(line, "request.cookie", line["request"]["cookie"]) == text);
  }
}

TEST(EventLine, HoldsEveryFieldInOrder) {
  IPhpHelp::MQ_HttpInfo info{"f1", "f2", "f3",  "f4",  "f5",  "f6",  "f7",
                             "f8", "f9", "f10", "f11", "f12", "f13", "f14\xff"};
  const std::int64_t before = now_us();
  Json line = parsed(event_line({0x20012, "s1", "s2", "s3", "s4", false, &info}, 7));
  const std::int64_t time = parse_utc(std::string(line["time"])).value_or(0);
  EXPECT_TRUE(before <= time && time <= now_us()) << line["time"];
  EXPECT_EQ(utc_text(951'782'400'000'007), "2000-02-29T00:00:00.000007Z");
  EXPECT_FALSE(parse_utc("2001-02-29T00:00:00.000000Z") || parse_utc("2001-02-28T00:00:00Z"));
  EXPECT_EQ(line["pid"], getpid());
  EXPECT_EQ(line["tid"], gettid());
  line.update({{"time", "TIME"}, {"host", "HOST"}, {"pid", 1}, {"tid", 2}});
  std::string error;
  EXPECT_EQ(line.dump(-1, ' ', true) + "\n", read_file(TEST_DATA "/agent/line.json", &error));
}

TEST(EventLine, NamesEventCategoryAndVerdict) {
  for (const auto& each : read_cases("agent/events.jsonl")) {
    const std::string kind = each["kind"];
    const std::string detail = each["detail"];
    Event event{{}, kind.c_str(), detail.c_str(), nullptr, nullptr, false, nullptr};
    if (!each["code"].is_null()) event.code = each["code"];
    const Json line = parsed(event_line(event, 0));
    for (const auto& [key, value] : each.items()) EXPECT_EQ(line[key], Json(value)) << each;
    EXPECT_EQ(line["request"]["cookie"], "");
    EXPECT_FALSE(line.contains("raw") || line.contains("lost_before"));
    event.allowed = true;
    EXPECT_EQ(parsed(event_line(event, 0))["verdict"],
              each["verdict"] == "blocked" ? "reported" : "logged");
  }
}

// Runs once, when this program next writes to a file: what happens meanwhile.
std::function<void()> before_write;

using Subjects = std::map<std::string, int>;

// How often each subject stands in the files; a filler behind a space is left out.
Subjects subjects(const std::vector<std::string>& files) {
  Subjects count;
  for (const std::string& file : files) {
    for (const auto& line : read_lines(file)) {
      const std::string subject = line.is_discarded() ? "torn" : line["subject"];
      ++count[subject.substr(0, subject.find(' '))];
    }
  }
  return count;
}

std::string filler(int size) { return " " + std::string(static_cast<std::size_t>(size), 'x'); }

// Three processes write while others are killed in the middle of a line and the log is
// rotated.
TEST(EventLog, HoldsEachReportedEventOnceWhileItIsRotatedAndWorkersAreKilled) {
  const Folder folder;
  LoggingAgent log(folder);
  Subjects expected;
  std::vector<pid_t> writers;
  for (const std::string name : {"a", "b", "c"}) {
    for (int i = 0; i < 180; ++i) expected[name + std::to_string(i)] = 1;
    writers.push_back(in_child([&] {
      for (int i = 0; i < 180; ++i) {
        const int size = i % 20 == 7 ? 1'200'000 : i % 5 == 3 ? 9'000 : i;
        log.send(name + std::to_string(i) + filler(size));
      }
    }));
  }
  std::vector<std::string> files{log.log_path};
  for (int round = 0; round < 12; ++round) {
    const std::string name = "victim" + std::to_string(round) + "-";
    int reported[2];  // a byte for each event
    ASSERT_EQ(pipe(reported), 0);
    const pid_t victim = in_child([&] {
      for (int i = 0;; ++i) {
        log.send(name + std::to_string(i) + filler(300'000));
        if (write(reported[1], "", 1) != 1) return;
      }
    });
    close(reported[1]);
    char byte;
    for (int i = 0; read(reported[0], &byte, 1) == 1; ++i) {
      expected[name + std::to_string(i)] = 1;
      if (i != 2) continue;
      std::this_thread::sleep_for(std::chrono::microseconds(300 * round));
      kill(victim, SIGKILL);
    }
    close(reported[0]);
    EXPECT_EQ(exit_status(victim), -SIGKILL);
    files.push_back(log.log_path + std::to_string(round));
    rename(log.log_path.c_str(), files.back().c_str());
  }
  for (const pid_t writer : writers) EXPECT_EQ(exit_status(writer), 0);
  Subjects found = subjects(files);
  for (const auto& [subject, count] : expected) EXPECT_EQ(found[subject], count) << subject;
  EXPECT_LE(found["torn"], 12);  // nobody but the killed tears
}

TEST(EventLog, NeitherATornPieceNorAFileSizeLimitHarmsLaterLines) {
  const Folder folder;
  LoggingAgent log(folder);
  std::ofstream(log.log_path) << "{\"subject\":\"torn\"";
  log.send("first");
  const pid_t child = in_child([&] {
    const auto limit_to = [](rlim_t size) {
      const rlimit limit{size, RLIM_INFINITY};
      setrlimit(RLIMIT_FSIZE, &limit);
    };
    limit_to(std::filesystem::file_size(log.log_path) + 100);
    log.send("half");     // stops half-way
    log.send("nothing");  // would raise SIGXFSZ
    limit_to(RLIM_INFINITY);
    log.send("next");
  });
  EXPECT_EQ(exit_status(child), 0);
  EXPECT_EQ(subjects({log.log_path}), (Subjects{{"torn", 2}, {"first", 1}, {"next", 1}}));
  EXPECT_EQ(read_lines(log.log_path).back().value("lost_before", 0), 2);
}

TEST(EventLog, WhatCannotBeWrittenIsCountedAndToldOnce) {
  const Folder folder;
  LoggingAgent log(folder);
  for (const char* name : {"fifo", "read"}) mkfifo((folder / name).c_str(), 0600);
  const int reader = open((folder / "read").c_str(), O_RDONLY | O_NONBLOCK);
  testing::internal::CaptureStderr();
  for (const std::string& target : {std::string("/dev/full"), folder / "missing/events",
                                    folder / "", folder / "fifo", folder / "read"}) {
    ASSERT_EQ(symlink(target.c_str(), log.log_path.c_str()), 0);
    errno = 7;
    log.send(filler(5000));  // more than a pipe takes in one piece
    EXPECT_EQ(errno, 7);
    if (target == folder / "read") exit_status(in_child([&] { log.send("piped"); }));
    unlink(log.log_path.c_str());
  }
  expect_told(1, {log.log_path + ": cannot write the event log: No space left"});
  char text[8192];
  const ssize_t size = read(reader, text, sizeof text);
  close(reader);
  ASSERT_GT(size, 0);
  // A child's count is its own; the parent's stays until the parent's next line.
  EXPECT_EQ(Json::parse(text, text + size).value("lost_before", 0), 0);
  log.send("next");
  log.send("later");
  const auto lines = read_lines(log.log_path);
  EXPECT_EQ(lines.at(0).value("lost_before", 0), 5);
  EXPECT_EQ(lines.at(1).value("lost_before", 0), 0);
}

TEST(EventLog, ADeletedFileIsMadeAnewWithItsModeAndNoneIsLeftOpen) {
  const Folder folder;
  LoggingAgent log(folder);
  const int before = dup(0);
  close(before);
  before_write = [&] { unlink(log.log_path.c_str()); };
  log.send("one");
  EXPECT_EQ(subjects({log.log_path}), (Subjects{{"one", 1}}));
  unlink(log.log_path.c_str());
  const mode_t mask = umask(0777);
  EXPECT_NE(log.agent.send_upload("fopen", "two", nullptr), 0);
  umask(mask);
  EXPECT_EQ(subjects({log.log_path}), (Subjects{{"two", 1}}));
  EXPECT_EQ(read_lines(log.log_path).at(0)["event"], "file_create");
  struct stat status {};
  ASSERT_EQ(stat(log.log_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0640u);
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
}

TEST(EventLog, RootLeavesTheLogToItsFoldersOwnerAndFollowsNoLinkOfTheirs) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const Folder folder;
  LoggingAgent log(folder);
  ASSERT_EQ(chown((folder / "").c_str(), 33, 4), 0);
  log.send("first");
  struct stat status {};
  ASSERT_EQ(stat(log.log_path.c_str(), &status), 0);
  EXPECT_TRUE(status.st_uid == 33 && status.st_gid == 4);
  std::filesystem::rename(log.log_path, folder / "rotated");
  std::filesystem::create_symlink(folder / "target", log.log_path);
  log.send("second");
  EXPECT_FALSE(std::filesystem::exists(folder / "target"));
}

TEST(Notice, GoesToTheSystemLogAndToStandardError) {
  const Folder folder;
  const std::string path = folder / "log";
  sockaddr_un address{AF_UNIX, ""};
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
  close(listener);
  ASSERT_GT(size, 0);
  EXPECT_EQ(std::string(text, static_cast<std::size_t>(size)), "<27>" + tag);
}

TEST(Notice, IsDueOnceAMinute) {
  OnceAMinute notice;
  std::string due;
  for (const std::int64_t second : {100, 101, 159, 160, 219, 1000}) {
    due += notice.is_due(second) ? 'y' : 'n';
  }
  EXPECT_EQ(due, "ynnyny");
}

}  // namespace
}  // namespace vorgate::agent::test

// In place of the C library's, for the whole program.
extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size) {
  using vorgate::agent::test::before_write;
  if (before_write) std::exchange(before_write, nullptr)();
  return syscall(SYS_write, descriptor, bytes, size);
}
