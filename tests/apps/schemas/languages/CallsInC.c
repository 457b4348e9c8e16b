#include "apps/schemas/languages/PrintDraft.h"

#include "c/events.h"

#include "c/calls.inc"

int main(void) {
    callAll();
    return 0;
}
