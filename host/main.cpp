#include "cli/program.h"
#include "host/command_line.h"

int main(int argc, char** argv) { return cli::runProgram(argc, argv, velahost::runCommandLine); }
