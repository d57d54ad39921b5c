// diebom: the plug-in's jobs on the command line.
#include <string>
#include <vector>

#include "cli/tool.h"

int main(int argc, char** argv) {
  return cli::Main(std::vector<std::string>(argv + 1, argv + argc));
}
