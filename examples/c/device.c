/* A device for `qzstress monitor tcp://127.0.0.1:5000`: it listens, and sends one lead of a made-up heart to
 * whoever connects, 500 samples a second. Build: cc device.c -o device -lm. Usage: device [PORT] */
#include <arpa/inet.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

enum { kFs = 500, kBlock = 25 }; /* samples a second; frames sent at once, 50 ms */

static double Bell(double t, double centre, double width, double height) {
    return height * exp(-pow((t - centre) / width, 2));
}

/* Microvolts of a beat a second, with R at 0.5 s. */
static double Heart(double seconds) {
    const double t = fmod(seconds, 1) - 0.5;
    return Bell(t, -0.16, 0.025, 120) + Bell(t, -0.025, 0.01, -150) + Bell(t, 0, 0.01, 1200) +
           Bell(t, 0.03, 0.01, -250) + Bell(t, 0.25, 0.05, 300);
}

static void Serve(int monitor) {
    static const char line[] = "{\"fs\": 500, \"leads\": [\"II\"], \"uVpb\": 1}\n";
    const struct timespec pause = {0, 1000000000L / kFs * kBlock};
    long frame = 0;
    if (send(monitor, line, strlen(line), MSG_NOSIGNAL) < 0) return;
    for (;;) {
        unsigned char block[2 * kBlock];
        for (int i = 0; i < kBlock; ++i, ++frame) {
            const int unit = (int)lround(Heart((double)frame / kFs));
            block[2 * i] = (unsigned char)(unit & 0xFF); /* low byte first */
            block[2 * i + 1] = (unsigned char)(unit >> 8 & 0xFF);
        }
        if (send(monitor, block, sizeof block, MSG_NOSIGNAL) < 0) return;
        nanosleep(&pause, NULL);
    }
}

int main(int argc, char** argv) {
    const int door = socket(AF_INET, SOCK_STREAM, 0);
    struct sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_port = htons((unsigned short)(argc > 1 ? atoi(argv[1]) : 5000));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(door, (struct sockaddr*)&address, sizeof address) != 0 || listen(door, 1) != 0) {
        perror("device");
        return 1;
    }
    for (;;) {
        const int monitor = accept(door, NULL, NULL);
        if (monitor < 0) continue;
        Serve(monitor);
        close(monitor);
    }
}
