// Counts its own starts in the files that it is given: quarn's persistent storage in one page.

#include <quarn/quarn.h>

#include <stdio.h>

int main(int argc, char** argv) {
    quarn::Debug debug(quarn::DebugOptions(), nullptr);
    debug.SetAsDefault();  // says what the storage finds and does

    quarn::VariableDictionary dictionary("settings");
    uint32_t starts = 0;
    std::string lastText = "never";
    quarn::VariableIndex index("settings", dictionary);
    try {
        dictionary.Add(1, "starts", quarn::VariantType::UINT32);
        dictionary.Add(2, "lastText", quarn::VariantType::STRING);
        index.Add(1, &starts, 0);
        index.Add(2, &lastText, 0);

        quarn::PersistentStorage storage("settings", 0, 1);
        for (int i = 1; i < argc; ++i)
            storage.AddFile(argv[i]);
        if (!storage.Load(index, 0))
            puts("Nothing saved yet: the variables keep their defaults.");
        printf("Started %u times before, the last time with %s.\n", starts, lastText.c_str());
        ++starts;
        lastText = quarn::Format("%d files", argc - 1);
        storage.Save(index, 0);
    } catch (const quarn::MonitorException& e) {
        fprintf(stderr, "%s\n", e.Description().c_str());
        return 1;
    }
    return 0;
}
