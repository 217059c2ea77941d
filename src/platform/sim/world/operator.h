// The simulated operator: a scripted person in front of the screen. It acts only while the
// program waits for a message, in the program's (virtual) time, through the keyboard and the
// mouse, and it knows only what the screen shows.
//
// Script: steps separated by new lines or ';', '#' starts a comment. Steps:
//   digit            press the one confirmation digit drawn on the screen (top row)
//   digits           press every digit drawn on the screen, left to right
//   keypad-digit     press the drawn digit on the number pad
//   wrong-digit      press a digit that is not drawn
//   F1               press F1
//   key <k>          press a key: a number (0x.. or decimal) or a name (ESCAPE, RETURN, SPACE,
//                    TAB, F1..F12, a letter or digit); "alt+<k>" holds Alt down for it
//   type <text>      type the text into the focused window
//   type-slowly <ms> <text>  the same, one key every <ms> milliseconds
//   answer <button>  click the button of the front window whose label reads <button> ("Yes",
//                    "OK"...), the '&' of the label ignored
//   say-if-blank     answer the front window's Yes/No question by what the person saw: Yes when
//                    the monitor went dark since the step before, No when it did not
//   close            close the front window
//   rotate           turn the screen a quarter turn, as the machine's [Rotation] Turn takes it
//   connect <port>   while a window is up, plug a monitor's cable into the first output of that
//                    kind that has none ("connect hdmi 1": technology and connector instance)
//   nothing          do nothing while the present front window is up
//   wait <ms>        let that much time pass first
//   give-up <ms>     how long the operator waits with nothing to do before giving up
// A step that needs a window, a button or a digit waits until it is on the screen. An operator
// with nothing to do gives up after the give-up time (default 600000 ms): it sends a console
// break, as Ctrl-C would; if the program still waits after three more give-up times (and ten real
// seconds) it ends the process with status 3, as a person would kill a hung program.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace platform {
namespace sim {

// Replaces the script and starts the operator afresh. False with a reason for a bad step.
bool SetOperatorScript(const std::string& script, std::string& error);

// The operator's part of the world's turn (world.h), when the program waits and nothing is ready.
// Returns true when the operator did something (input may now be waiting); otherwise `wakeAt` is
// lowered to the tick at which it wants to be asked again.
bool OperatorAct(uint32_t now, uint32_t& wakeAt);

// How the operator turns the screen; the default does what the machine's [Rotation] says.
void SetRotateAction(std::function<bool()> rotate);

// The steps left and whether the operator has given up (tests).
size_t OperatorStepsLeft();
bool OperatorGaveUp();

}  // namespace sim
}  // namespace platform
