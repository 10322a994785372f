// SPDX-License-Identifier: GPL-3.0-or-later
#include "App/CommandLine/ShellCompletion.h"

#include "App/ApplicationStart.h"
#include "App/CommandLine/CommandLine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace lumicrate::app {

namespace {

constexpr std::array<std::pair<ValueKind, std::string_view>, 7> liveKinds = {
    {{ValueKind::display, "display"},
     {ValueKind::window, "window"},
     {ValueKind::microphone, "microphone"},
     {ValueKind::camera, "camera"},
     {ValueKind::recording, "recording"},
     {ValueKind::preference, "preference"},
     {ValueKind::preferenceValue, "preferenceValue"}}};

constexpr OptionSpec versionOption{"version", OptionSpec::Kind::flag, "", translatable("Print the version.")};

/// In front of each of `characters` puts a backslash.
std::string escaped(std::string_view text, std::string_view characters) {
    std::string result;
    for (const char each : text) {
        if (characters.find(each) != std::string_view::npos) result += '\\';
        result += each;
    }
    return result;
}

std::vector<const Command*> allCommands() {
    std::vector<const Command*> all(recorderCommands.begin(), recorderCommands.end());
    all.insert(all.end(), remoteCommands.begin(), remoteCommands.end());
    return all;
}

std::vector<OptionSpec> withHelp(std::span<const OptionSpec> specs) {
    std::vector<OptionSpec> all(specs.begin(), specs.end());
    all.push_back(helpOption);
    return all;
}

std::vector<OptionSpec> startOptions() {
    std::vector<OptionSpec> all = withHelp(applicationOptions);
    all.push_back(versionOption);
    return all;
}

// bash

/// The words of options: "--cursor --no-cursor". An "=" follows where a value has to be attached.
std::string bashWords(std::span<const OptionSpec> specs) {
    std::vector<std::string> words;
    for (const OptionSpec& spec : specs) {
        words.push_back(fmt::format("--{}", spec.name));
        if (spec.takesValue() && !spec.takesNextWord()) words.push_back(fmt::format("--{}=", spec.name));
        if (spec.isNegatable()) words.push_back(fmt::format("--no-{}", spec.name));
    }
    return fmt::format("{}", fmt::join(words, " "));
}

/// The call that offers the values of an option or argument; empty if there is nothing to offer.
std::string bashValue(ValueKind kind, std::span<const std::string_view> choices) {
    if (kind == ValueKind::choice) return fmt::format("_lumicrate_words '{}'", fmt::join(choices, " "));
    if (kind == ValueKind::file) return "_lumicrate_files";
    if (kind == ValueKind::recording) return "_lumicrate_live recording; _lumicrate_files";
    if (kind == ValueKind::preferenceValue) return "_lumicrate_live preferenceValue \"${words[2]}\"";
    if (liveKindName(kind).empty()) return {};
    return fmt::format("_lumicrate_live {}", liveKindName(kind));
}

std::string bashCommand(const Command& command) {
    std::string text = fmt::format("    {})\n", command.name);
    std::string values;
    for (const OptionSpec& spec : command.options) {
        if (!spec.takesValue()) continue;
        // A value that may be missing leaves room for another option.
        const std::string_view condition = spec.kind == OptionSpec::Kind::value ? ""
                                           : spec.kind == OptionSpec::Kind::optionalValue
                                               ? "[[ $cur != -* ]] && "
                                               : "[[ $attached ]] && ";
        const std::string offer = bashValue(spec.value, spec.choices);
        values += offer.empty()
                      ? fmt::format("        --{}) {}return ;;\n", spec.name, condition)
                      : fmt::format("        --{}) {}{{ {}; return; }} ;;\n", spec.name, condition, offer);
    }
    if (!values.empty()) text += "      case $option in\n" + values + "      esac\n";
    text += fmt::format("      if [[ $cur == -* ]]; then _lumicrate_words '{}'; return; fi\n",
                        bashWords(withHelp(command.options)));
    for (std::size_t i = 0; i < command.operands.size(); ++i) {
        const bool isLast = i + 1 == command.operands.size();
        text += fmt::format("      if ((operand {} {})); then {}; fi\n", isLast ? ">=" : "==", i,
                            bashValue(command.operands[i], {}));
    }
    return text + "      ;;\n";
}

constexpr std::string_view bashHead =
    R"script(# Completion of lumicrate for bash, printed by “lumicrate generate bash”.

_lumicrate_words() {
  local word
  for word in $1; do
    [[ $word == "$cur"* ]] && COMPREPLY+=("$word")
  done
}

# A recording is also found by the beginning of its name alone.
_lumicrate_live() {
  local value
  while IFS=$'\t' read -r value _; do
    if [[ $value == "$cur"* || ( $1 == recording && ${value##*/} == "$cur"* ) ]]; then
      [[ $1 == recording || $quote ]] || printf -v value %q "$value"
      COMPREPLY+=("$value")
    fi
  done < <(lumicrate complete "$@" 2>/dev/null)
  [[ $1 == recording ]] && compopt -o filenames 2>/dev/null
}

_lumicrate_files() {
  local value
  while IFS= read -r value; do COMPREPLY+=("$value"); done < <(compgen -f -- "$cur")
  compopt -o filenames 2>/dev/null
}

_lumicrate() {
  local words=() attached= option= cur= quote= index operand=0
  COMPREPLY=()
  # Readline divides words at "=" and ":", too: "--microphone=a:b" is put together again.
  for ((index = 0; index <= COMP_CWORD; ++index)); do
    local part=${COMP_WORDS[index]}
    if ((index > 1)) && [[ $part == [:=]* || ${COMP_WORDS[index - 1]} == *[:=] ]]; then
      words[${#words[@]} - 1]+=$part
    else
      words+=("$part")
    fi
  done
  cur=${words[${#words[@]} - 1]}
  option=${words[${#words[@]} - 2]}
  if [[ $cur == --*=* ]]; then
    attached=1
    option=${cur%%=*}
    cur=${cur#*=}
  fi
  case $cur in
    \"* | \'*)
      quote=${cur:0:1}
      cur=${cur:1}
      ;;
    *) cur=${cur//\\/} ;;
  esac
  for ((index = 2; index < ${#words[@]} - 1; ++index)); do
    [[ ${words[index]} == -* ]] || ((++operand))
  done
  _lumicrate_offer
  # What precedes a ":" stays in the line.
  if [[ $cur == *:* && $COMP_WORDBREAKS == *:* ]]; then
    COMPREPLY=("${COMPREPLY[@]#"${cur%"${cur##*:}"}"}")
  fi
  [[ ${#COMPREPLY[@]} == 1 && ${COMPREPLY[0]} == --*= ]] && compopt -o nospace 2>/dev/null
}

# With the words of the command line in the variables of _lumicrate.
_lumicrate_offer() {
)script";

constexpr std::string_view bashTail = R"script(  esac
}

complete -F _lumicrate lumicrate
)script";

// zsh

/// What follows an option or argument in the list of _arguments: ":ID: _lumicrate_live display". A space in
/// front of a call keeps _arguments from adding arguments of its own.
std::string zshValue(std::string_view placeholder, ValueKind kind,
                     std::span<const std::string_view> choices) {
    std::string action = " ";
    if (kind == ValueKind::choice) action = fmt::format("({})", fmt::join(choices, " "));
    if (kind == ValueKind::file) action = "_files";
    if (kind == ValueKind::recording) {
        action = " _lumicrate_recordings";
    } else if (kind == ValueKind::preferenceValue) {
        action = " _lumicrate_live preferenceValue $line[1]";
    } else if (!liveKindName(kind).empty()) {
        action = fmt::format(" _lumicrate_live {}", liveKindName(kind));
    }
    return fmt::format(":{}:{}", placeholder, action);
}

/// In single quotes.
std::string zshQuoted(std::string_view text) {
    std::string result = "'";
    for (const char each : text)
        result += each == '\'' ? std::string("'\\''") : std::string(1, each);
    return result + "'";
}

std::string zshOption(const OptionSpec& spec) {
    const std::string help = "[" + escaped(localized(spec.help), "[]:\\") + "]";
    std::string value;
    if (spec.takesValue())
        value = (spec.kind == OptionSpec::Kind::value ? "" : ":") +
                zshValue(spec.placeholder, spec.value, spec.choices);
    // "=" allows both "--name VALUE" and "--name=VALUE", "=-" only the latter.
    const std::string_view joint = !spec.takesValue() ? "" : spec.takesNextWord() ? "=" : "=-";
    std::string text =
        "        " + zshQuoted(fmt::format("--{}{}{}{}", spec.name, joint, help, value)) + " \\\n";
    if (spec.isNegatable())
        text += "        " + zshQuoted(fmt::format("--no-{}{}", spec.name, help)) + " \\\n";
    return text;
}

std::string zshCommand(const Command& command) {
    std::string text = fmt::format("    {})\n      _arguments -S \\\n", command.name);
    for (const OptionSpec& spec : withHelp(command.options))
        text += zshOption(spec);
    for (std::size_t i = 0; i < command.operands.size(); ++i)
        text += "        " + zshQuoted(std::to_string(i + 1) + zshValue("value", command.operands[i], {})) +
                " \\\n";
    text.erase(text.size() - 3);
    return text + "\n      ;;\n";
}

constexpr std::string_view zshHead = R"script(#compdef lumicrate
# Completion of lumicrate for zsh, printed by “lumicrate generate zsh”.

# Lists values with their descriptions.
_lumicrate_live() {
  local -a values shown
  local each
  for each in ${(f)"$(lumicrate complete "$1" ${2-} 2>/dev/null)"}; do
    values+=("${each%%$'\t'*}")
    shown+=("${each/$'\t'/  -- }")
  done
  _wanted values expl value compadd -M 'l:|=*' -l -d shown -a values
}

_lumicrate_recordings() {
  _lumicrate_live recording
  _files
}

_lumicrate() {
  local context state state_descr line expl
  typeset -A opt_args
)script";

// fish

std::string fishQuoted(std::string_view text) {
    return "'" + escaped(text, "\\'") + "'";
}

/// The arguments of `complete` that offer values: "-a '(lumicrate complete window)'".
std::string fishValue(ValueKind kind, std::span<const std::string_view> choices) {
    if (kind == ValueKind::choice) return fmt::format("-f -a '{}'", fmt::join(choices, " "));
    if (kind == ValueKind::file) return "-F";
    if (kind == ValueKind::recording) return "-F -a '(lumicrate complete recording 2>/dev/null)'";
    if (kind == ValueKind::preferenceValue)
        return "-f -a '(lumicrate complete preferenceValue (__lumicrate_operands)[1] 2>/dev/null)'";
    if (liveKindName(kind).empty()) return "-f";
    return fmt::format("-f -a '(lumicrate complete {} 2>/dev/null)'", liveKindName(kind));
}

std::string fishOption(const std::string& condition, const OptionSpec& spec) {
    const std::string start = fmt::format("complete -c lumicrate -n '{}'", condition);
    const std::string help = "-d " + fishQuoted(localized(spec.help));
    std::string text = fmt::format("{} -l {}", start, spec.name);
    if (spec.kind == OptionSpec::Kind::value) text += " -r";
    if (spec.takesValue()) text += " " + fishValue(spec.value, spec.choices);
    text += " " + help + "\n";
    if (spec.kind == OptionSpec::Kind::optionalValue)
        text += fmt::format("complete -c lumicrate -n '{}; and __lumicrate_follows --{}' {}\n", condition,
                            spec.name, fishValue(spec.value, spec.choices));
    if (spec.isNegatable()) text += fmt::format("{} -l no-{} {}\n", start, spec.name, help);
    return text;
}

std::string fishCommand(const Command& command) {
    std::string text = fmt::format("\ncomplete -c lumicrate -n __lumicrate_starts -a {} -d {}\n",
                                   command.name, fishQuoted(localized(command.summary)));
    const std::string condition = fmt::format("__lumicrate_runs {}", command.name);
    for (const OptionSpec& spec : withHelp(command.options))
        text += fishOption(condition, spec);
    for (std::size_t i = 0; i < command.operands.size(); ++i) {
        const bool isLast = i + 1 == command.operands.size();
        text +=
            fmt::format("complete -c lumicrate -n '{}; and test (count (__lumicrate_operands)) -{} {}' {}\n",
                        condition, isLast ? "ge" : "eq", i, fishValue(command.operands[i], {}));
    }
    return text;
}

constexpr std::string_view fishHead =
    R"script(# Completion of lumicrate for fish, printed by “lumicrate generate fish”.

function __lumicrate_starts
    test (count (commandline -opc)) -eq 1; or string match -q -- '-*' (commandline -opc)[2]
end

function __lumicrate_runs
    set -l words (commandline -opc)
    test (count $words) -gt 1; and test $words[2] = $argv[1]
end

function __lumicrate_follows
    test (commandline -opc)[-1] = $argv[1]
end

# The arguments before the present one that are no options.
function __lumicrate_operands
    set -l words (commandline -opc)
    string match -v -- '-*' $words[3..-1]
end

complete -c lumicrate -f
)script";

}  // namespace

std::string_view liveKindName(ValueKind kind) {
    const auto* const found =
        std::ranges::find(liveKinds, kind, &std::pair<ValueKind, std::string_view>::first);
    return found == liveKinds.end() ? std::string_view() : found->second;
}

std::optional<ValueKind> liveKindNamed(std::string_view name) {
    const auto* const found =
        std::ranges::find(liveKinds, name, &std::pair<ValueKind, std::string_view>::second);
    return found == liveKinds.end() ? std::nullopt : std::optional(found->first);
}

std::string bashCompletion() {
    std::string names;
    for (const Command* command : allCommands())
        names += fmt::format("{} ", command->name);
    std::string text(bashHead);
    text += fmt::format("  if ((${{#words[@]}} == 2)); then\n    _lumicrate_words '{}{}'\n    return\n  fi\n",
                        names, bashWords(startOptions()));
    text += "  case ${words[1]} in\n";
    for (const OptionSpec& spec : startOptions())
        if (spec.takesNextWord())
            text += fmt::format("    --{}) {} ;;\n", spec.name, bashValue(spec.value, spec.choices));
    for (const Command* command : allCommands())
        text += bashCommand(*command);
    return text + std::string(bashTail);
}

std::string zshCompletion() {
    std::string text(zshHead);
    text += "  if ((CURRENT == 2)) || [[ $words[2] == -* ]]; then\n    local -a commands=(\n";
    for (const Command* command : allCommands())
        text += "      " +
                zshQuoted(fmt::format("{}:{}", command->name, escaped(localized(command->summary), ":"))) +
                "\n";
    text += "    )\n    ((CURRENT == 2)) && _describe command commands\n    _arguments -S \\\n";
    for (const OptionSpec& spec : startOptions())
        text += zshOption(spec);
    text.erase(text.size() - 3);
    text +=
        "\n    return\n  fi\n  local command=$words[2]\n  shift words\n  ((--CURRENT))\n  case $command in\n";
    for (const Command* command : allCommands())
        text += zshCommand(*command);
    return text + "  esac\n}\n\n_lumicrate \"$@\"\n";
}

std::string fishCompletion() {
    std::string text(fishHead);
    for (const OptionSpec& spec : startOptions())
        text += fishOption("__lumicrate_starts", spec);
    for (const Command* command : allCommands())
        text += fishCommand(*command);
    return text;
}

}  // namespace lumicrate::app
