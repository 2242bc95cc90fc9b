#include "agent/service.h"

int main() {
    return runAgentService();
}
