// A host that is built without exceptions or without run-time type information,
// or without both: it calls what throws nothing, and derives from the library's
// classes. It says what went wrong, and exits with 1.

#include <Bases/All.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void Check(bool holds, const char* what) {
    if (!holds) {
        std::fprintf(stderr, "bare_host: %s\n", what);
        std::exit(1);
    }
}

// RFC 4648, section 10, and RFC 1321, A.5.
void EncodeAndDigest() {
    Novu::Base64 base64;
    std::string text;
    Check(base64.Encode("foobar", 6, text) == 1 && text == "Zm9vYmFy",
          "Base64 is wrong");

    Novu::Crypto* digest = Novu::CreateCrypto(Novu::Crypto::HashMd5);
    Check(digest != nullptr, "no digest was made");
    unsigned char message[] = {'a', 'b', 'c'};
    unsigned long consumed = 0;
    unsigned long length = 0;
    unsigned char* output = nullptr;
    Check(
        digest->Encrypt(message, sizeof message, consumed, output, length) == 1,
        "there is no digest");
    const unsigned char expected[] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2,
                                      0x4f, 0xb0, 0xd6, 0x96, 0x3f, 0x7d,
                                      0x28, 0xe1, 0x7f, 0x72};
    Check(length == sizeof expected &&
              std::memcmp(output, expected, sizeof expected) == 0,
          "the digest is wrong");
    delete[] output;
    Novu::DestroyCrypto(digest);
}

void FormatNumbersAndDates() {
    char number[65];
    Check(std::strcmp(_itoa(48879, number, 16), "beef") == 0, "_itoa is wrong");
    Check(Novu::IsLeapYear(2024) && !Novu::IsLeapYear(1900),
          "the leap years are wrong");
    Novu::SysTime date{};
    date.year = 2024;
    date.month = 2;
    date.day = 29;
    Check(Novu::GetDateTimeFormat("yyyy-MM-dd", date) == "2024-02-29",
          "the date is written in another way");
}

void WriteAndReadFile(const std::string& directory) {
    const std::string name = directory + "file";
    char text[] = "text";
    Novu::FileIo file;
    Check(file.Open(name, 0xC0000000, 0, 1), "the file was not made");
    Check(file.Write(text, 4) == 4, "the file was not written");
    Check(file.GetFileSize() == 4, "the file has another size");
    file.SeekToBegin();
    char read[8] = {};
    Check(file.Read(read, sizeof read) == 4 && std::strcmp(read, text) == 0,
          "the file holds something else");
    file.Close();

    Novu::Bits bits(9);
    Check(bits.Set(8) == 1 && bits.Test(8) && bits.GetSetCount() == 1,
          "the bit is not set");
}

class Increment : public Novu::Command {
public:
    explicit Increment(int* newNumber) : number(newNumber) {}
    void Execute() override { ++*number; }

private:
    int* number;
};

void ExecuteCommands() {
    int number = 0;
    Novu::MacroCommand commands;
    commands.Add(new Increment(&number));
    commands.Add(new Increment(&number));
    commands.Execute();
    Check(number == 2, "a command was not executed");
}

class Worker : public Novu::Thread {
public:
    Worker() { Check(ran.Create(1, 0, nullptr) == 1, "no event was created"); }
    ~Worker() override { StopThread(0xFFFFFFFF, 0); }

    int OnThreadEntry() override {
        ran.Set();
        return IsStopThread(10000);
    }

    Novu::Event ran;
};

void RunThread() {
    Worker worker;
    Check(worker.StartThread(0) == 1, "the thread was not started");
    Check(worker.ran.Wait(10000) == 1, "the thread did not run");
    worker.StopThread(0xFFFFFFFF, 0);
    Check(worker.IsThreadRunning() == 0, "the thread was not stopped");
}

}  // namespace

// The argument is an empty directory, with "/" at its end.
int main(int argc, char** argv) {
    Check(argc == 2, "usage: bare_host DIRECTORY/");
    Check(Novu::BasesInit() == 1, "BasesInit failed");
    EncodeAndDigest();
    FormatNumbersAndDates();
    WriteAndReadFile(argv[1]);
    ExecuteCommands();
    RunThread();
    Novu::BasesRelease();
    std::puts("bare_host: all is well");
    return 0;
}
