#include "history/service.h"

int main() {
    return runHistoryService();
}
