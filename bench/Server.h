// A server that a benchmark talks to: a child process, kept to one processor.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace bench {

// Keeps the calling thread, and the threads that it starts, to one processor.
void stayOn(int processor);
// How many there are.
int processorCount();

class Server {
public:
  // Starts the program and returns when its Unix socket takes connections. Throws std::runtime_error where
  // that does not come about.
  Server(std::vector<std::string> command, const std::string& socket, int processor);
  // Asks it to end, and waits for that.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

private:
  pid_t m_process = -1;
};

// A connected Unix socket; -1 where there is none to be had. The caller closes it.
int connectTo(const std::string& socket);

}  // namespace bench
