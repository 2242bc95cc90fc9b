#include "include/signal_flags.h"

volatile std::sig_atomic_t b_got_sigint = 0;
volatile std::sig_atomic_t b_got_sigterm = 0;
volatile std::sig_atomic_t b_got_sighup = 0;
volatile std::sig_atomic_t b_got_sigusr1 = 0;
volatile std::sig_atomic_t b_got_sigusr2 = 0;

void signalHandlerSIGINT(int) {
    b_got_sigint = 1;
}
void signalHandlerSIGTERM(int) {
    b_got_sigterm = 1;
}
void signalHandlerSIGHUP(int) {
    b_got_sighup = 1;
}
void signalHandlerSIGUSR1(int) {
    b_got_sigusr1 = 1;
}
void signalHandlerSIGUSR2(int) {
    b_got_sigusr2 = 1;
}
