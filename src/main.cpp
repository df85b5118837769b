// Program entry: read the command line and run the analysis.
#include "ZEMU.h"

#ifdef _WIN32
#include <windows.h>
#endif

int main(int argc, char** argv) {
#ifdef _WIN32
    SetConsoleOutputCP(65001);
#endif  // other systems' consoles are taken to accept UTF-8 already
    ZEMU_input input;
    ZEMU_init_input(&input);
    ZEMU_process_command(&input, argc, argv);
    return ZEMU(&input) != 0 ? 1 : 0;
}
