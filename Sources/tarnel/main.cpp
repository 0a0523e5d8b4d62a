// tarnel/main.cpp: the command-line client of the daemon.
#include "tarnel/Program.h"

int main(int argc, char** argv) { return tarnel::runProgram(argc, argv); }
