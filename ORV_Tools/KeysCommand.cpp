#include "KeysCommand.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

#include "GatewayPlan.h"
#include "HexText.h"
#include "Json.h"
#include "KeyGeneration.h"
#include "NodePaths.h"
#include "NodeStore.h"
#include "Words.h"

namespace orv::keys {
namespace {

// A failure that tells how things are is the answer no; a file that is malformed is no fault of the command line.
int fail(const Status &failure) {
  complain(failure.message);
  return failure.code == EEXIST ? EXIT_NO : EXIT_FAILED;
}

// The directory that the running node was configured with; empty where there is no node or nothing was configured.
std::string configuredDirectory(const Arguments &arguments) {
  const std::string directory = arguments.nodeDirectory.empty() ? nodeDirectory() : arguments.nodeDirectory;
  std::unique_ptr<NodeStore> store;
  if (!checkPrivateDirectory(directory).ok()) return "";
  if (!NodeStore::open(directory, NodeStore::Access::EXISTING, store).ok()) return "";
  const std::optional<Tag> tag = store->tag(GATEWAY_KEYS_TAG);
  return tag && tag->value.type == TagType::STRING ? tag->value.text : "";
}

std::string publicKeyText(const KeyPair &pair, bool json) {
  const std::string key = hexOf(pair.publicKey);
  return json ? "{\"public\": \"" + key + "\"}\n" : key + "\n";
}

int generate(const std::string &directory, const KeysArguments &keys, std::string &output) {
  KeyPair pair;
  Status done = generateKeyPair(pair);
  if (done.ok()) done = writeKeyPair(directory, pair, keys.force);
  if (!done.ok()) return fail(done);
  output += publicKeyText(pair, keys.json);
  return EXIT_DONE;
}

int show(const std::string &directory, const KeysArguments &keys, std::string &output) {
  KeyPair pair;
  const Status found = readKeyPair(directory, pair);
  if (found.code == ENOENT) {
    complain("this node has no keys in " + directory + " (make them with orvctl keys generate)");
    return EXIT_NO;
  }
  if (!found.ok()) return fail(found);
  output += publicKeyText(pair, keys.json);
  return EXIT_DONE;
}

int trust(const std::string &directory, const KeysArguments &keys, std::string &) {
  const Status done = trustKey(directory, {keys.nid, keys.key});
  return done.ok() ? EXIT_DONE : fail(done);
}

int untrust(const std::string &directory, const KeysArguments &keys, std::string &) {
  bool wasTrusted = false;
  if (const Status done = untrustKey(directory, keys.nid, wasTrusted); !done.ok()) return fail(done);
  if (wasTrusted) return EXIT_DONE;
  complain("node " + nidText(keys.nid) + " was not trusted");
  return EXIT_NO;
}

std::string trustedJson(const std::vector<TrustedKey> &trusted) {
  const auto json = [](const TrustedKey &each) {
    return JsonObject().text("nid", nidText(each.nid)).text("key", hexOf(each.key)).str();
  };
  return jsonLines(trusted, 2, json) + "\n";
}

int list(const std::string &directory, const KeysArguments &keys, std::string &output) {
  std::vector<TrustedKey> trusted;
  if (const Status found = readTrustedKeys(directory, trusted); !found.ok()) return fail(found);
  if (keys.json) {
    output += trustedJson(trusted);
    return EXIT_DONE;
  }
  std::vector<std::vector<std::string>> rows = {{"NODE", "KEY"}};
  for (const TrustedKey &each : trusted)
    rows.push_back({nidText(each.nid), hexOf(each.key)});
  output += tableText(rows);
  return EXIT_DONE;
}

void addNid(CLI::App &command, KeysArguments &keys) {
  const auto take = [&keys](const std::string &text) {
    const std::optional<uint32_t> number = parseNumber(text);
    if (!number || *number == 0 || *number > 0xffff) {
      throw CLI::ValidationError("NID", "\"" + text + "\" is not a node id from 1 to 0xffff");
    }
    keys.nid = static_cast<uint16_t>(*number);
  };
  command.add_option_function<std::string>("NID", take, "Node id, also as 0x...")->required()->type_name("");
}

void addKey(CLI::App &command, KeysArguments &keys) {
  const auto take = [&keys](const std::string &text) {
    const std::optional<Key> key = keyOf(text);
    if (!key) throw CLI::ValidationError("KEY", "\"" + text + "\" is not a key of 64 hexadecimal digits");
    keys.key = *key;
  };
  command.add_option_function<std::string>("KEY", take, "The public key that orvctl keys show prints on that node")
      ->required()
      ->type_name("");
}

}  // namespace

std::string keyDirectoryOf(const Arguments &arguments, const KeysArguments &keys) {
  if (!keys.keyDirectory.empty()) return keys.keyDirectory;
  if (!arguments.stateDirectory.empty()) return defaultKeyDirectory(arguments.stateDirectory);
  const std::string configured = configuredDirectory(arguments);
  return configured.empty() ? defaultKeyDirectory(stateDirectory()) : configured;
}

void addCommands(CLI::App &group, KeysArguments &keys, const AddCommand &addCommand) {
  using Operation = int (*)(const std::string &directory, const KeysArguments &keys, std::string &output);
  const auto add = [&](const char *name, const char *description, Operation operation) {
    CLI::App *command = addCommand(group, name, description, [&keys, operation](const auto &arguments, auto &output) {
      return operation(keyDirectoryOf(arguments, keys), keys, output);
    });
    command
        ->add_option("--key-dir", keys.keyDirectory,
                     "Key directory (else the running node's own, else gateway in the state directory)")
        ->type_name("DIR");
    return command;
  };
  CLI::App *generateCommand = add("generate", "Make the node's own pair, and print its public key", generate);
  generateCommand->add_flag("--force", keys.force, "Replace the pair that there is");
  CLI::App *showCommand = add("show", "Print the node's public key", show);
  CLI::App *trustCommand = add("trust", "Let a node in that has this key, and connect to it", trust);
  addNid(*trustCommand, keys);
  addKey(*trustCommand, keys);
  addNid(*add("untrust", "Let a node in no longer", untrust), keys);
  CLI::App *listCommand = add("list", "The nodes that are trusted, and their keys", list);
  for (CLI::App *command : {generateCommand, showCommand, listCommand})
    command->add_flag("--json", keys.json, "Print JSON instead");
}

}  // namespace orv::keys
