#include <unistd.h>

#include <iostream>

#include "CliMain.h"
#include "VeskPlatform.h"

int main(int argc, char** argv) {
    CliTerminal terminal;
    terminal.errorIsTerminal = vesk_isTerminal(STDERR_FILENO);
    terminal.interactive = vesk_isTerminal(STDIN_FILENO) && terminal.errorIsTerminal;
    if (int columns = vesk_terminalColumns(STDOUT_FILENO)) {
        terminal.columns = columns;
    }
    if (int columns = vesk_terminalColumns(STDERR_FILENO)) {
        terminal.errorColumns = columns;
    }
    return corvixCliMain(argc, argv, std::cout, std::cerr, std::cin, terminal);
}
