#include <quarn/SentenceDetails.h>

namespace quarn {

SentenceDetails::SentenceDetails(uint32_t tag, const std::string& key, const SentenceGrammar& grammar,
                                 const std::vector<VariantType>& types, bool openEnded)
    : TagDetails(tag, key), grammar_(grammar), types_(types), openEnded_(openEnded) {}

}  // namespace quarn
