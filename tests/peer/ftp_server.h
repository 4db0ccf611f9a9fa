#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace tonalith {

// A server of tests/peer in a process of its own, for as long as this object lives.
class FtpServerProcess {
 public:
  // One that works: ftp_server.py.
  explicit FtpServerProcess(const std::string& root, const std::string& user = {}, const std::string& password = {})
      : FtpServerProcess(user.empty() ? std::vector<std::string>{"ftp_server.py", root}
                                      : std::vector<std::string>{"ftp_server.py", root, user, password}) {}
  // A script of tests/peer that prints its port, and its arguments.
  explicit FtpServerProcess(const std::vector<std::string>& script) {
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(in[0], 0);
      ::dup2(out[1], 1);
      for (const int fd : {in[0], in[1], out[0], out[1]}) ::close(fd);
      const std::string path = TONALITH_SOURCE_DIR "/tests/peer/" + script.front();
      std::vector<const char*> words = {"/usr/bin/python3", path.c_str()};
      for (std::size_t i = 1; i < script.size(); ++i) words.push_back(script[i].c_str());
      words.push_back(nullptr);
      ::execvp("/usr/bin/python3", const_cast<char* const*>(words.data()));
      ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    stop_ = in[1];
    if (FILE* answer = ::fdopen(out[0], "r")) {
      if (std::fscanf(answer, "%d", &port_) != 1) port_ = 0;
      std::fclose(answer);
    }
  }
  ~FtpServerProcess() {
    if (stop_ >= 0) ::close(stop_);
    if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
  }
  FtpServerProcess(const FtpServerProcess&) = delete;
  FtpServerProcess& operator=(const FtpServerProcess&) = delete;

  // False: python3 or its FTP library is not installed.
  bool running() const { return port_ > 0; }
  std::string site() const { return "127.0.0.1:" + std::to_string(port_); }

 private:
  pid_t pid_ = -1;
  int stop_ = -1;
  int port_ = 0;
};

}  // namespace tonalith
