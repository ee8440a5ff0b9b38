/* Prints the lines of its standard input's inventory with one printf each: the yardstick for a
 * listing. Argument: number of slots. */
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv)
{
    int slot, slots = argc > 1 ? atoi(argv[1]) : 600;
    for (slot = 0; slot < slots; slot++)
        printf("%s %3d(adr=%4d,src=%4d,tape=%x) %s\n", "Slot      ", slot, 4096 + slot, 0, slot & 1,
               slot & 1 ? "A00001                          " : "");
    return 0;
}
