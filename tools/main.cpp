// rfa-process: the RFA operation chain on image files from the command line.
#include <malloc.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <vector>

#include "tools/RfaProcess.h"

int main(int argc, char** argv) {
  // File after file the batch allocates and frees the same large buffers (the image, the fit's
  // pixel lists, the result and its encoded file). Kept by the allocator rather than returned
  // to the system, they are not faulted in and cleared again for every file: at 1024 x 1024
  // that was about an eighth of a file's time.
  mallopt(M_MMAP_THRESHOLD, 256 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  const std::vector<std::string> args(argv + 1, argv + argc);
  // The bar redraws one line with carriage returns: only useful on a terminal.
  return RfaProcessMain(args, std::cout, std::cerr, isatty(STDOUT_FILENO) != 0);
}
