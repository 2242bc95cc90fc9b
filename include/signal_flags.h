#ifndef INCLUDE_SIGNAL_FLAGS_H
#define INCLUDE_SIGNAL_FLAGS_H

// Raised by the signal handlers, looked at by the main loop.
extern volatile bool b_got_sigint;
extern volatile bool b_got_sigterm;
extern volatile bool b_got_sighup;
extern volatile bool b_got_sigusr1;
extern volatile bool b_got_sigusr2;

void signalHandlerSIGINT(int signal);
void signalHandlerSIGTERM(int signal);
void signalHandlerSIGHUP(int signal);
void signalHandlerSIGUSR1(int signal);
void signalHandlerSIGUSR2(int signal);

#endif
