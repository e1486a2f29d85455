// rfa-process: the RFA operation chain on image files from the command line.
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "tools/RfaProcess.h"

int main(int argc, char** argv) {
  const std::vector<std::string> args(argv + 1, argv + argc);
  // The bar redraws one line with carriage returns: only useful on a terminal.
  return RfaProcessMain(args, std::cout, std::cerr, isatty(STDOUT_FILENO) != 0);
}
