// Types on the X server for one action of the program that started it. It is a separate program so
// that keys and keyboard map are restored however that program ends, and so that a server that
// hangs blocks only this program. Its argument is the process to type into: no other one receives a
// key. With the argument "recover", it only restores what a killed instance has left.
//
// One request per line, with hexadecimal numbers:
//   expect SYMBOL…           what is going to be typed
//   type SYMBOL…
//   press SYMBOL MODIFIERS
//   release
// The answer to each is an empty line, or a sentence that describes a failure, after which the
// program exits. It also exits at the end of the input, and on SIGTERM, after which it types
// nothing more.

#include "platform/linux/keyboard/Typist.h"

#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {
volatile std::sig_atomic_t s_isGivenUp = 0;

void giveUp(int)
{
    s_isGivenUp = 1;
}

std::vector<KeySymbol> numbers(std::istream &line)
{
    std::vector<KeySymbol> all;
    for (KeySymbol number = 0; line >> std::hex >> number;)
        all.push_back(number);
    return all;
}

void perform(Typist &typist, const std::string &request)
{
    std::istringstream line(request);
    std::string what;
    line >> what;
    const std::vector<KeySymbol> values = numbers(line);
    if (what == "expect")
        typist.expect(values);
    else if (what == "type")
        typist.type(values);
    else if (what == "press" && values.size() == 2)
        typist.press(values[0], static_cast<uint8_t>(values[1]));
    else if (what == "release")
        typist.release();
    else
        throw Failure("The keyboard program was asked for something that it does not know.");
}
} // namespace

int main(int count, char **arguments)
{
    // The signals that end the starting program must not end this one, which has to restore the
    // keyboard.
    setsid();
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE})
        std::signal(number, SIG_IGN);
    std::signal(SIGTERM, &giveUp);
    try {
        if (count > 1 && std::string_view(arguments[1]) == "recover") {
            XKeyboard keyboard;
            LoanRecord(keyboard).recover();
            return 0;
        }
        const unsigned long receiver = count > 1 ? std::strtoul(arguments[1], nullptr, 10) : 0;
        Typist typist(static_cast<uint32_t>(receiver), s_isGivenUp);
        for (std::string request; std::getline(std::cin, request);) {
            perform(typist, request);
            std::cout << '\n' << std::flush;
        }
        typist.finish();
        return 0;
    } catch (const std::exception &failure) {
        std::cout << failure.what() << '\n' << std::flush;
        return 1;
    }
}
