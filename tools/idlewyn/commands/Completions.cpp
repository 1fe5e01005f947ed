// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/Completions.hpp>

#include <algorithm>

namespace idlewyn::command {
namespace {

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

// Single quotes as bash and zsh write them inside single quotes; fish takes the other form too.
std::string shellQuoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text)
    result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

struct Word {
  std::string name;
  std::string summary;
};

// What may stand first, or second behind the name of a group.
std::vector<Word> wordsBehind(const CommandTable& table, std::string_view group) {
  std::vector<Word> words;
  for (const Command& command : table.commands) {
    const auto [first, second] = wordsOf(command);
    if (command.isHidden || (group.empty() ? !second.empty() : first != group)) continue;
    words.push_back({std::string(group.empty() ? first : second), command.summary});
  }
  if (!group.empty()) return words;
  for (const CommandGroup& known : table.groups)
    words.push_back({known.name, known.summary});
  return words;
}

std::string namesBehind(const CommandTable& table, std::string_view group) {
  std::vector<std::string> names;
  for (const Word& word : wordsBehind(table, group))
    names.push_back(word.name);
  return joined(names);
}

// ------------------------------------------------------------------------------------- bash

// The ids come from relays: they are never expanded (compgen -W would), only compared.
constexpr const char* bashHead = R"(# bash completion for idlewyn
_idlewyn_prompts() {
  local id
  while IFS= read -r id; do
    [[ $id == "$1"* ]] && COMPREPLY+=("$id")
  done < <("${COMP_WORDS[0]}" prompt-ids 2>/dev/null)
}

_idlewyn_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

_idlewyn() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} words= prompts= files=
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    words=@COMMANDS@
  else
    case "${COMP_WORDS[1]} ${COMP_WORDS[2]} " in
)";
constexpr const char* bashTail = R"(    esac
  fi
  COMPREPLY=($(compgen -W "$words" -- "$cur"))
  [[ $prompts ]] && _idlewyn_prompts "$cur"
  [[ $files ]] && _idlewyn_files "$cur"
}
complete -F _idlewyn idlewyn
)";

std::string bashCase(const Command& command) {
  const auto [first, second] = wordsOf(command);
  std::string values;
  std::vector<std::string> words{"--help"};
  bool takesPrompt = false;
  for (const Option& option : command.options) {
    if (!option.isArgument()) words.push_back(option.name);
    if (option.isArgument()) words.insert(words.end(), option.words.begin(), option.words.end());
    takesPrompt = takesPrompt || option.kind == ValueKind::promptID;
    if (option.isArgument() || !option.takesValue()) continue;
    values += "          " + option.name + ") " +
              (option.kind == ValueKind::file ? "files=1"
                                              : "words=" + shellQuoted(joined(option.words))) +
              " ;;\n";
  }
  return "      '" + std::string(first) + " '" +
         (second.empty() ? "" : shellQuoted(second) + "' '") + "*)\n        case $prev in\n" +
         values + "          *) words=" + shellQuoted(joined(words)) +
         (takesPrompt ? " prompts=1" : "") + " ;;\n        esac ;;\n";
}

// -------------------------------------------------------------------------------------- zsh

constexpr const char* zshHead = R"(#compdef idlewyn
_idlewyn_prompts() {
  local -a ids
  ids=("${(@f)$(_call_program prompts idlewyn prompt-ids 2>/dev/null)}")
  compadd -- "${(@)ids:#}"
}

_idlewyn() {
  local -a commands
  if ((CURRENT == 2)); then
    commands=(
)";

std::string zshEscaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

std::string zshList(const std::vector<Word>& words, const std::string& margin) {
  std::string text;
  for (const Word& word : words)
    text += margin + "  " + shellQuoted(word.name + ":" + zshEscaped(word.summary)) + "\n";
  return text + margin + ")\n" + margin + "_describe command commands\n";
}

std::string zshAction(const Option& option) {
  if (option.kind == ValueKind::promptID) return "_idlewyn_prompts";
  if (option.kind == ValueKind::file) return "_files";
  return option.words.empty() ? " " : "(" + joined(option.words) + ")";
}

std::string zshSpec(const Option& option) {
  const std::string value = ":" + zshEscaped(option.value) + ":" + zshAction(option);
  if (option.isArgument()) return shellQuoted((option.isRequired ? "" : ":") + value);
  return shellQuoted(option.name + (option.takesValue() ? "=" : "") + "[" +
                     zshEscaped(option.help) + "]" + (option.takesValue() ? value : ""));
}

std::string zshCase(const Command& command) {
  const auto [first, second] = wordsOf(command);
  std::string text = "      " + shellQuoted(first) +
                     (second.empty() ? "' '*" : "' '" + shellQuoted(second)) + ")\n        shift " +
                     (second.empty() ? "1" : "2") + " words\n        " +
                     "((CURRENT -= " + (second.empty() ? "1" : "2") + "))\n        _arguments " +
                     "'--help[Show help]'";
  for (const Option& option : command.options)
    text += " \\\n          " + zshSpec(option);
  return text + " ;;\n";
}

// ------------------------------------------------------------------------------------- fish

std::string fishQuoted(std::string_view text) {
  std::string result = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') result += '\\';
    result += c;
  }
  return result + "'";
}

std::string fishLine(const std::string& condition, const std::string& rest) {
  return "complete -c idlewyn -n " + fishQuoted(condition) + " " + rest + "\n";
}

std::string fishOffers(const std::string& condition, const std::vector<Word>& words) {
  std::string text;
  for (const Word& word : words)
    text += fishLine(condition, "-a " + word.name + " -d " + fishQuoted(word.summary));
  return text;
}

std::string fishValues(const Option& option) {
  if (option.kind == ValueKind::promptID) return "-a '(idlewyn prompt-ids 2>/dev/null)'";
  if (option.kind == ValueKind::file) return "-F";
  return option.words.empty() ? "" : "-a " + fishQuoted(joined(option.words));
}

// -x keeps files out.
std::string fishName(const Option& option) {
  const std::string name = "-l " + option.name.substr(2);
  if (!option.takesValue()) return name;
  return name + (option.kind == ValueKind::file ? " -r" : " -x");
}

std::string fishOptions(const Command& command) {
  const auto [first, second] = wordsOf(command);
  std::string condition = "__fish_seen_subcommand_from " + std::string(first);
  if (!second.empty()) condition += "; and __fish_seen_subcommand_from " + std::string(second);
  std::string text;
  for (const Option& option : command.options) {
    const std::string values = fishValues(option);
    if (option.isArgument()) {
      if (!values.empty()) text += fishLine(condition, values);
      continue;
    }
    text += fishLine(condition, fishName(option) + " " + values + (values.empty() ? "" : " ") +
                                    "-d " + fishQuoted(option.help));
  }
  return text;
}

}  // namespace

std::string bashCompletions(const CommandTable& table) {
  std::string text = bashHead;
  const std::string mark = "@COMMANDS@";
  text.replace(text.find(mark), mark.size(),
               shellQuoted(namesBehind(table, "") + " --help --version"));
  for (const Command& command : table.commands) {
    if (!command.isHidden) text += bashCase(command);
  }
  for (const CommandGroup& group : table.groups) {
    text += "      '" + group.name + " '*)\n        ((COMP_CWORD == 2)) && words=" +
            shellQuoted(namesBehind(table, group.name)) + " ;;\n";
  }
  return text + bashTail;
}

std::string zshCompletions(const CommandTable& table) {
  std::string text = zshHead + zshList(wordsBehind(table, ""), "    ");
  for (const CommandGroup& group : table.groups) {
    text += "  elif ((CURRENT == 3)) && [[ $words[2] == " + group.name +
            " ]]; then\n    commands=(\n" + zshList(wordsBehind(table, group.name), "    ");
  }
  text += "  else\n    case \"$words[2] $words[3]\" in\n";
  for (const Command& command : table.commands) {
    if (!command.isHidden) text += zshCase(command);
  }
  return text +
         "    esac\n  fi\n}\n\nif [[ $funcstack[1] == _idlewyn ]]; then\n  _idlewyn \"$@\"\n"
         "else\n  compdef _idlewyn idlewyn\nfi\n";
}

std::string fishCompletions(const CommandTable& table) {
  std::string text = "# fish completion for idlewyn\ncomplete -c idlewyn -f\n" +
                     fishOffers("__fish_use_subcommand", wordsBehind(table, "")) +
                     fishLine("__fish_use_subcommand", "-l version -d 'Show the version'") +
                     "complete -c idlewyn -l help -d 'Show help'\n";
  for (const CommandGroup& group : table.groups) {
    const std::vector<Word> words = wordsBehind(table, group.name);
    text +=
        fishOffers("__fish_seen_subcommand_from " + group.name +
                       "; and not __fish_seen_subcommand_from " + namesBehind(table, group.name),
                   words);
  }
  for (const Command& command : table.commands) {
    if (!command.isHidden) text += fishOptions(command);
  }
  return text;
}

}  // namespace idlewyn::command
