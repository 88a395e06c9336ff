/* A program without a platform library; linked statically, one that nothing can be preloaded into.
 */
#include <stdio.h>

int main(void) {
    puts("static");
    return 4;
}
