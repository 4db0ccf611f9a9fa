#pragma once

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace tonalith {

// tests/peer/ftp_server.py in a process of its own, for as long as this object lives.
class FtpServerProcess {
 public:
  explicit FtpServerProcess(const std::string& root, const std::string& user = {}, const std::string& password = {}) {
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0) return;
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(in[0], 0);
      ::dup2(out[1], 1);
      for (const int fd : {in[0], in[1], out[0], out[1]}) ::close(fd);
      std::vector<const char*> words = {"/usr/bin/python3", TONALITH_SOURCE_DIR "/tests/peer/ftp_server.py",
                                        root.c_str()};
      if (!user.empty()) words.insert(words.end(), {user.c_str(), password.c_str()});
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
