// SPDX-License-Identifier: Apache-2.0
/* The record structs as a C program lays them out. */
#include "struct_layouts.h"

#include <stdio.h>

int main(void) {
    size_t structs = 0;
    const struct MemberPlace* misplaced = misplacedMember(&structs);
    if (misplaced != NULL) {
        fprintf(stderr, "%s.%s: at %zu, %zu bytes\n", misplaced->structure, misplaced->member, misplaced->offset,
                misplaced->found);
        return 1;
    }
    return structs == 20 ? 0 : 1;
}
