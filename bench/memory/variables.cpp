#include <quarn/Text.h>
#include <quarn/VariableDictionary.h>
#include <quarn/VariableIndex.h>

#include "memory/Heap.h"
#include "memory/Report.h"

#include <list>
#include <vector>

namespace quarn {

namespace {

constexpr uint32_t kVariables = 1000;

}  // namespace

void ReportVariables() {
    puts("| a variable | heap |\n| --- | --- |");
    std::vector<uint32_t> values(kVariables);
    VariableDictionary dictionary("memory");
    VariableIndex index("memory", dictionary);

    const size_t before = heap::InUse();
    for (uint32_t tag = 0; tag < kVariables; ++tag)
        dictionary.Add(tag, Format("receiver.channel%03u.gain", tag), VariantType::UINT32);
    const size_t described = heap::InUse();
    for (uint32_t tag = 0; tag < kVariables; ++tag)
        index.Add(tag, &values[tag], 1);
    const size_t bound = heap::InUse();
    printf("| in a dictionary, with a key of 24 characters | %s |\n",
           BytesText((described - before) / kVariables).c_str());
    printf("| in an index | %s |\n\n", BytesText((bound - described) / kVariables).c_str());
}

}  // namespace quarn
