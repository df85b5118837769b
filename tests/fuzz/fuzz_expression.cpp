// Expression compiler and evaluator: any text compiled, and what compiles
// evaluated for a few values of every variable, directly and as an energy
// scaling (forward and inverted by bisection).
#include "fuzz_util.h"

#include <cmath>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<char> text(data, data + size);
    text.push_back('\0');

    ZEMU_RPN_token rpn;
    ZEMU_init_RPN_token(&rpn);
    if (ZEMU_RPN_build(text.data(), &rpn) == 0) {
        ZEMU_variable_list vars;
        for (double v : {0.0, 1.5, -2.0, 1e308, std::nan("")}) {
            for (double& value : vars.value) value = v;
            double result = 0.0;
            ZEMU_RPN_read(&rpn, &vars, &result);
        }
    }
    ZEMU_free_RPN(&rpn);

    // The same text as the run's energy scaling.
    ZEMU_cube cube;
    ZEMU_init_cube(&cube);
    cube.scaling = 1;
    if (ZEMU_parse_energy_scaling(&cube, text.data()) == 0) {
        ZEMU_scale_cube_energy(&cube, 0.25);
        // The inversion steps its upper bracket by 1 eV up to a million times: only
        // expressions that pass the target soon are inverted, to keep runs fast.
        if (ZEMU_scale_cube_energy(&cube, 1000.0) > 0.5) ZEMU_get_unscaled_from_scaled(&cube, 0.5);
    }
    ZEMU_free_cube(&cube);
    return 0;
}
