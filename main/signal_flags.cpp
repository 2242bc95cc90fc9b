#include "include/signal_flags.h"

volatile bool b_got_sigint = false;
volatile bool b_got_sigterm = false;
volatile bool b_got_sighup = false;
volatile bool b_got_sigusr1 = false;
volatile bool b_got_sigusr2 = false;

void signalHandlerSIGINT(int) {
    b_got_sigint = true;
}
void signalHandlerSIGTERM(int) {
    b_got_sigterm = true;
}
void signalHandlerSIGHUP(int) {
    b_got_sighup = true;
}
void signalHandlerSIGUSR1(int) {
    b_got_sigusr1 = true;
}
void signalHandlerSIGUSR2(int) {
    b_got_sigusr2 = true;
}
