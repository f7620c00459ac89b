// The `zel` program.
#include "cli/program.h"

int main(int argc, char** argv) { return zelmora::cli::run_program(argc, argv); }
