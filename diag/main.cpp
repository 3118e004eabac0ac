// Entry of the program.
#include "diag/Program.h"
#include "diag/record/Printable.h"

#include <cstdio>
#include <exception>

int main(int argc, char** argv) {
    try {
        return Diag::Run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lumodiag: %s\n", Diag::Printable(error.what()).c_str());
        return Diag::ExitTrouble;
    }
}
