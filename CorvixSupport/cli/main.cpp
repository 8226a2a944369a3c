#include <unistd.h>

#include <iostream>

#include "CliMain.h"

int main(int argc, char** argv) {
    return corvixCliMain(argc, argv, std::cout, std::cerr, std::cin, isatty(STDIN_FILENO) != 0);
}
