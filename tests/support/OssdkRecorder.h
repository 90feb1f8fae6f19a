// A stand-in for the OS SDK that keeps what the library logs. The tests link it, so that the library's own
// search finds it already loaded under the name it asks for.
#pragma once

#include <functional>
#include <string>
#include <vector>

// Lines since the last call: plain messages as they are, errors as "E source|function|message".
std::vector<std::string> TakeLogLines();

// Called for every line while it is being written, on the thread that writes it; null: nothing.
void WhenLogged(std::function<void(const std::string& line)> call);
