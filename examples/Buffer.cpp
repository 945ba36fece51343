// SerialBuffer: bytes as they come from a connection. A message is a byte that
// counts, and as many bytes.

#include <Bases/Buffer.h>

#include <iostream>
#include <memory>
#include <string>

int main() {
    Novu::SerialBuffer received;
    received.SetMaxSize(4096, 1);  // Room at once: growth has no slack.

    // What arrives is cut anywhere.
    unsigned char pieces[][4] = {{3, 'o', 'n', 'e'}, {5, 't', 'h', 'r'}};
    for (auto& piece : pieces) {
        if (received.AddBuffer(piece, sizeof(piece), 1) != 1) {
            return 1;
        }
    }

    // Whole messages leave at the front.
    while (received.GetSize() != 0 &&
           received.GetSize() > received.GetBuffer()[0]) {
        const unsigned char* const front = received.GetBuffer();
        const unsigned long length = front[0];
        std::cout << std::string(front + 1, front + 1 + length) << '\n';
        received.Shift(1 + length);
    }

    // The rest is handed to another owner, without a copy.
    const unsigned long size = received.GetSize();
    const std::unique_ptr<unsigned char[]> rest(received.Fetch());
    std::cout << size << " bytes of the next: "
              << std::string(rest.get() + 1, rest.get() + size) << '\n';
}

// Prints:
//   one
//   4 bytes of the next: thr
