#include "lint/checks.h"

#include <algorithm>

namespace ovix::tool::lint {

std::vector<const FileDescriptor*> FilesOf(const Contracts& contracts) {
  std::vector<const FileDescriptor*> files = contracts.files();
  std::erase_if(files, [](const FileDescriptor* file) { return !IsContract(file); });
  return files;
}

std::vector<const Descriptor*> MessagesOf(const Contracts& contracts) {
  std::vector<const Descriptor*> messages = contracts.messages();
  std::erase_if(messages, [](const Descriptor* message) { return !IsContract(message->file()); });
  return messages;
}

std::vector<const EnumDescriptor*> EnumsOf(const Contracts& contracts) {
  std::vector<const EnumDescriptor*> enums = contracts.enums();
  std::erase_if(enums, [](const EnumDescriptor* each) { return !IsContract(each->file()); });
  return enums;
}

}  // namespace ovix::tool::lint
