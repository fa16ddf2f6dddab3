#pragma once

#include <string>
#include <vector>

/// How the helper is reached: the three kinds of link that a server may choose from.
enum class LinkKind { Socket, Fd, Stdin };

enum class CommandKind { Info, List, Get, Put, MakeFolder, Remove, Move };

/// What the command line asked for.
struct Options {
  std::string root = ".";
  std::string helper;  ///< path of the helper's program; empty means the one beside this program
  LinkKind link = LinkKind::Socket;
  int clientVersion = 4;
  int logLevel = 0;                   ///< lines up to this level come back from the helper
  std::vector<std::string> settings;  ///< "NAME=VALUE" for the helper's parameters
  bool stats = false;                 ///< report times and memory on standard error at the end

  CommandKind command = CommandKind::Info;
  bool longFormat = false;  ///< ls -l
  int repeat = 1;           ///< ls: how many times to ask, for measuring
  bool recursive = false;   ///< get -r, put -r
  std::string from;         ///< the command's first path
  std::string to;           ///< its second one
};
