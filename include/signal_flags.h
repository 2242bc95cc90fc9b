#ifndef INCLUDE_SIGNAL_FLAGS_H
#define INCLUDE_SIGNAL_FLAGS_H

#include <csignal>

// Set by the signal handlers, read by the main loop. Of the type that a handler may write.
extern volatile std::sig_atomic_t b_got_sigint;
extern volatile std::sig_atomic_t b_got_sigterm;
extern volatile std::sig_atomic_t b_got_sighup;
extern volatile std::sig_atomic_t b_got_sigusr1;
extern volatile std::sig_atomic_t b_got_sigusr2;

void signalHandlerSIGINT(int signal);
void signalHandlerSIGTERM(int signal);
void signalHandlerSIGHUP(int signal);
void signalHandlerSIGUSR1(int signal);
void signalHandlerSIGUSR2(int signal);

#endif
