#include "Stage.h"
#include "support/Scenario.h"

int main(int, char **argv) {
    vmr::test::Stage stage;
    return vmr::test::playScenario(argv[1],
                                   [&](const std::string &line) { return stage.run(line); });
}
