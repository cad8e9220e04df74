#include "cli/program.h"
#include "inspect/command_line.h"

int main(int argc, char** argv) { return cli::runProgram(argc, argv, inspect::runCommandLine); }
