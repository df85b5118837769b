// VESTA project file "ZEMU.vesta": a fixed style template around the
// structure (symmetry operations, cell, sites, bonds, site and atom styles), the
// run's cube file imported as volumetric data, and three isosurfaces of the
// energy landscape at levels taken from the 1-D, 2-D and 3-D activation energies.
//
// Seven keyword lines of the template end in "\r\n" while every other line ends
// in "\n"; the viewer reads both, and the mixture is written exactly so.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ZEMU.h"
#include "ZEMU-kernel.h"

namespace {

const char* const VESTA_FILE = "ZEMU.vesta";
const char* const VESTA_BV_DATABASE = ZEMU_BV_DATABASE_FILE;
const int VESTA_DB_LINE_SIZE = ZEMU_BV_LINE_SIZE;
const int VESTA_DB_MIN_FIELDS = ZEMU_BV_PARAM_WORDS;
const int VESTA_ELEMENT_CHARS = 10;    // characters of a label searched for the element symbol
const int VESTA_SYMOP_CHARS = 30;      // characters of an operation text parsed
const double VESTA_BOND_VALENCE_SHARE = 4.25;  // bond valence limit: ox / (4.25 cn)


// Text of a fixed-size label field, which need not be terminated when full.
std::string field_text(const char* field, size_t size)
{
    return std::string(field, strnlen(field, size));
}

// Element symbol of a type or site label: its leading ASCII letters, looking at
// no more than VESTA_ELEMENT_CHARS characters (Li1+ gives Li, O2- gives O).
std::string element_of(const char* label)
{
    size_t n = 0;
    while (n < (size_t)VESTA_ELEMENT_CHARS) {
        char ch = label[n];
        if (!((ch >= 'A' && ch <= 'Z') || (ch >= 'a' && ch <= 'z'))) break;
        n++;
    }
    return std::string(label, n);
}

std::string probe_element(ZEMU_cif* cif)
{
    return element_of(cif->probe_type);
}

// An oxidation state or charge truncated toward zero; values that do not fit an
// int (or are not numbers) give 0 instead of an undefined conversion.
int truncate_to_int(double v)
{
    if (!(v > -2147483648.0 && v < 2147483648.0)) return 0;
    return (int)v;
}

}  // namespace

// ---------------------------------------------------------------------------
// Structure blocks
// ---------------------------------------------------------------------------

void ZEMU_print_vesta_symop(ZEMU_cif* cif, FILE* fpw)
{
    fputs("SYMOP\n", fpw);
    for (int s = 0; cif->symop != nullptr && s < cif->symop_no; s++) {
        const char* text = cif->symop[s];
        if (text == nullptr) continue;
        size_t len = strnlen(text, VESTA_SYMOP_CHARS);
        int coef[3][3] = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};  // [component][x, y, z]
        double trans[3] = {0.0, 0.0, 0.0};
        int comp = 0;  // current component, 0-based
        int sign = 1;  // stays in force until the next '+', '-' or ','
        for (size_t i = 0; i < len; i++) {
            char ch = text[i];
            if (ch == ',') {
                comp++;
                sign = 1;
                continue;
            }
            // A fourth or later component is not part of the row.
            if (comp > 2) continue;
            switch (ch) {
            case '-': sign = -1; break;
            case '+': sign = 1; break;
            case 'x': case 'X': coef[comp][0] = sign; break;
            case 'y': case 'Y': coef[comp][1] = sign; break;
            case 'z': case 'Z': coef[comp][2] = sign; break;
            case '/': {
                // A fraction of two single digits; a '/' without a digit on each side,
                // or with a zero denominator, leaves the translation as it is.
                if (i == 0 || i + 1 >= len) break;
                char num = text[i - 1], den = text[i + 1];
                if (num < '0' || num > '9' || den < '1' || den > '9') break;
                trans[comp] = (double)(num - '0') / (double)(den - '0') * sign;
                break;
            }
            default: break;
            }
        }
        fprintf(fpw, "%.6f  %.6f  %.6f  %d  %d  %d   %d  %d  %d   %d  %d  %d   1\n", trans[0], trans[1], trans[2],
                coef[0][0], coef[0][1], coef[0][2], coef[1][0], coef[1][1], coef[1][2], coef[2][0], coef[2][1],
                coef[2][2]);
    }
    fputs("-1.0 -1.0 -1.0  1 0 0  0 0 0  0 0 0\n", fpw);
}

void ZEMU_print_vesta_struc(ZEMU_cif* cif, FILE* fpw)
{
    fputs("STRUC\n", fpw);
    for (int i = 0; i < cif->site_no; i++) {
        ZEMU_site* site = &cif->site[i];
        std::string element = element_of(site->type);
        std::string label = field_text(site->label, sizeof site->label);
        fprintf(fpw, "%d ", i + 1);
        fprintf(fpw, "%s %s %.4f %.6f %.6f %.6f\n", element.c_str(), label.c_str(), site->occ, site->x, site->y,
                site->z);
        fprintf(fpw, "0 0 0 %.2f\n", site->ox);
    }
    fputs("  0 0 0 0 0 0 0\n", fpw);
}

double ZEMU_maximum_pair_distance(char* cation, char* anion, double ox_1, double ox_2)
{
    FILE* fp = fopen(VESTA_BV_DATABASE, "r");
    if (fp == nullptr) {
        fprintf(stderr, "Error: Cannot load database_binary.dat!\n");
        return -1.0;
    }
    zemu_kernel::File closer(fp);
    const int cation_ox = truncate_to_int(ox_1);
    const int anion_ox = truncate_to_int(ox_2);

    char line[VESTA_DB_LINE_SIZE];
    while (fgets(line, sizeof line, fp) != nullptr) {
        // The same words the bond valence reader sees.
        char* field[VESTA_DB_MIN_FIELDS];
        int fields = ZEMU_bv_database_words(line, field, VESTA_DB_MIN_FIELDS);
        if (fields < VESTA_DB_MIN_FIELDS) continue;
        if (strcmp(field[0], cation) != 0 || atoi(field[1]) != cation_ox || strcmp(field[2], anion) != 0 ||
            atoi(field[3]) != anion_ox)
            continue;
        double r0 = atof(field[4]);
        double b = atof(field[5]);
        double cn = atof(field[6]);
        double share = ox_1 / (VESTA_BOND_VALENCE_SHARE * cn);
        // A cation without charge or a line without a coordination number has no
        // finite bond length: reported as unknown.
        if (!(share > 0.0) || !std::isfinite(share)) return -1.0;
        return r0 - b * log(share);
    }
    return -1.0;
}

void ZEMU_print_vesta_bond(ZEMU_cif* cif, FILE* fpw)
{
    fputs("SBOND\n", fpw);
    const std::string probe = probe_element(cif);
    int counter = 1;
    for (int i = 0; i < cif->type_no; i++) {
        for (int j = i + 1; j < cif->type_no; j++) {
            ZEMU_type* ti = &cif->type[i];
            ZEMU_type* tj = &cif->type[j];
            std::string ei = element_of(ti->label);
            std::string ej = element_of(tj->label);
            if (ei == probe || ej == probe) continue;
            if (ti->ox * tj->ox > 0.0) continue;
            bool i_is_cation = ti->ox >= 0.0;
            ZEMU_type* cation = i_is_cation ? ti : tj;
            ZEMU_type* anion = i_is_cation ? tj : ti;
            // Element symbols have at most VESTA_ELEMENT_CHARS letters.
            char cation_el[VESTA_ELEMENT_CHARS + 1], anion_el[VESTA_ELEMENT_CHARS + 1];
            snprintf(cation_el, sizeof cation_el, "%s", (i_is_cation ? ei : ej).c_str());
            snprintf(anion_el, sizeof anion_el, "%s", (i_is_cation ? ej : ei).c_str());
            double distance = ZEMU_maximum_pair_distance(cation_el, anion_el, cation->ox, anion->ox);
            fprintf(fpw, "%d %s %s 0.60000    %.6f 0 1 1 0 1 0.250 1.000 180 180 180\n", counter, cation_el, anion_el,
                    distance);
            counter++;
        }
    }
    fputs("  0 0 0 0\n", fpw);
}

void ZEMU_print_vesta_SITET(ZEMU_cif* cif, FILE* fpw)
{
    fputs("SITET\n", fpw);
    const std::string probe = probe_element(cif);
    for (int i = 0; i < cif->site_no; i++) {
        ZEMU_site* site = &cif->site[i];
        std::string label = field_text(site->label, sizeof site->label);
        fprintf(fpw, "%d %s ", i + 1, label.c_str());
        // Mobile-ion sites are drawn with radius 0.8, every other site is hidden.
        if (element_of(site->type) == probe)
            fputs("0.8000 249 220  60 249 220  60 204  1\n", fpw);
        else
            fputs("0.0000 249 220  60 249 220  60 204  0\n", fpw);
    }
    fputs("  0 0 0 0 0 0\n", fpw);
}

void ZEMU_print_vesta_ATOMT(ZEMU_cif* cif, FILE* fpw)
{
    fputs("ATOMT\n", fpw);
    const std::string probe = probe_element(cif);
    for (int i = 0; i < cif->type_no; i++) {
        std::string element = element_of(cif->type[i].label);
        fprintf(fpw, "%d %s ", i + 1, element.c_str());
        if (element == probe)
            fputs("0.8000 249 220  60 249 220  60 204\n", fpw);
        else
            fputs("0.0000 249 220  60 249 220  60 204\n", fpw);
    }
    fputs("  0 0 0 0 0 0\n", fpw);
}

// ---------------------------------------------------------------------------
// Isosurfaces
// ---------------------------------------------------------------------------

void ZEMU_print_vesta_ISURF(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, FILE* fpw)
{
    // The imported cube file holds the unshifted energies: levels sit above its lowest point.
    const double base = cube->global_minimum - cube->energy_shift;
    const int q = abs(truncate_to_int(cube->ion_charge));
    const double cap = 1.3 * q;
    const double step = 0.02 * q;
    const double one = pathlib->oneD, two = pathlib->twoD, three = pathlib->threeD;

    double level3, level2, level1;
    if (cap > three)
        level3 = three;
    else if (cap > two)
        level3 = two;
    else if (cap > one)
        level3 = one;
    else
        level3 = cap;

    if (level3 - step > two)
        level2 = two;
    else if (level3 - step > one)
        level2 = one;
    else
        level2 = level3 / 2.0;

    if (level2 - step > one)
        level1 = one;
    else if (step > level2 / 3.0)
        level1 = level2 / 3.0;
    else
        level1 = step;

    // Only the Na1+ default scaling is undone; any other ion's levels are used as
    // they are, whatever scaling the run applies.
    if (strncmp(cif->probe_type, "Na1+", sizeof cif->probe_type) == 0) {
        level1 = ZEMU_get_unscaled_from_scaled(cube, level1);
        level2 = ZEMU_get_unscaled_from_scaled(cube, level2);
        level3 = ZEMU_get_unscaled_from_scaled(cube, level3);
    }

    fputs("ISURF\r\n", fpw);
    fprintf(fpw, "1 1 %f  0   0  64 127 255\n", level1 + 0.01 + base);
    fprintf(fpw, "2 1 %f 128 128 255 127   0\n", level2 + 0.01 + base);
    fprintf(fpw, "3 1 %f 172 255 255 127   0\n", level3 + 0.01 + base);
}

// ---------------------------------------------------------------------------
// The whole file
// ---------------------------------------------------------------------------

namespace {

// The fixed text of the template, block by block in file order. The blocks end
// where the structure's own rows or a keyword line ending in "\r\n" follow.
const char kHead[] = R"(#VESTA_FORMAT_VERSION 3.3.0
CRYSTAL


TITLE
ZEMU

IMPORT_DENSITY 1
)";

const char kTransform[] = R"(TRANM 0
 0.000000  0.000000  0.000000  1  0  0   0  1  0   0  0  1
LTRANSL
 0.000000  0.000000  0.000000  0.000000  0.000000  0.000000
)";

// After "LORIENT\r\n".
const char kOrientation[] = R"( -1   0   0   0   0
 1.000000  0.000000  0.000000  1.000000  0.000000  0.000000
 0.000000  0.000000  1.000000  0.000000  0.000000  1.000000
)";

// After "LMATRIX\r\n".
const char kMatrix[] = R"( 1.000000  0.000000  0.000000  0.000000
 0.000000  1.000000  0.000000  0.000000
 0.000000  0.000000  1.000000  0.000000
 0.000000  0.000000  0.000000  1.000000
 0.000000  0.000000  0.000000
CELLP
)";

const char kShape[] = R"(SHAPE
  0       0       0       0   0.000000  0   192   192   192   192
BOUND
    0      1      0      1         0        1
  0   0   0   0  0
)";

const char kVectors[] = R"(VECTR
 0 0 0 0 0
VECTT
 0 0 0 0 0
SPLAN
  0   0   0   0
)";

// After "LBLAT\r\n".
const char kLabels[] = R"(0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34  -1
LBLSP
 -1
DLATM
 -1
DLBND
 -1
DLPLY
 -1
PLN2D
  0   0   0   0
)";

// After "SCENE\r\n". The HBOND keyword line ends in a backslash and the letter
// n before its real line end.
const char kScene[] = R"( 0.902291  0.000000  0.431127  0.000000
 0.000000  1.000000 -0.000000  0.000000
-0.431127  0.000000  0.902291  0.000000
 0.000000  0.000000  0.000000  1.000000
  0.000   0.000
  0.000
  1.189
HBOND 0 2\n
STYLE
DISPF 37753666
MODEL   2  1  0
SURFS   0  1  1
SECTS 96 0
FORMS 0 1
ATOMS 0 0 1
BONDS 1
POLYS 4
VECTS 1.000000
FORMP
  1  1.0   0   0   0
)";

// The ATOMP, BONDP and POLYP keywords end in "\r\n".
const char kAtomStyle[] = " 24  24   0  50  2.0   0\n";
const char kBondStyle[] = "  1  16  0.250  1.000 180 180 180\n";
const char kPolyhedronStyle[] = " 204 1  1.000   0   0  64\n";

// After the isosurface rows.
const char kSurfaceTail[] = R"(0 0 0 0
TEX3P
  1 0.00000E+000 1.00000E+000
SECTP
  1 0.00000E+000 1.00000E+000 0.00000E+000
HKLPP
 192 1  1.000 255   0 255
UCOLP
   0   1  3.000   0   0   0
COMPS 1
LABEL 1    12  1.000 0
PROJT 0  0.962
BKGRC
 255 255 255
DPTHQ 1 -0.5000  3.5000
)";

// The matrix every light has.
const char kLightMatrix[] = R"( 1.000000  0.000000  0.000000  0.000000
 0.000000  1.000000  0.000000  0.000000
 0.000000  0.000000  1.000000  0.000000
 0.000000  0.000000  0.000000  1.000000
 0.000000  0.000000 20.000000  0.000000
 0.000000  0.000000 -1.000000
)";

const char kLitColours[] = R"(  26  26  26 255
 179 179 179 255
 255 255 255 255
)";

const char kDarkColours[] = R"(   0   0   0   0
   0   0   0   0
   0   0   0   0
)";

const char kAtomMaterial[] = R"(ATOMM
 204 204 204 255
  25.600
)";

// A keyword line ending in "\r\n", then the fixed text that follows it.
void put_crlf_block(FILE* fpw, const char* keyword, const char* text)
{
    fprintf(fpw, "%s\r\n", keyword);
    fputs(text, fpw);
}

// A material: its colour row and shininess row.
void print_material(FILE* fpw, const char* keyword, const char* colour)
{
    fputs(keyword, fpw);
    fputs(colour, fpw);
    fputs(" 128.000\n", fpw);
}

// The four lights of the scene, then the materials.
void print_lights_and_materials(FILE* fpw)
{
    const char* const lights[] = {"LIGHT0 1\n", "LIGHT1\n", "LIGHT2\n", "LIGHT3\n"};
    for (int n = 0; n < 4; n++) {
        fputs(lights[n], fpw);
        fputs(kLightMatrix, fpw);
        fputs(n == 0 ? kLitColours : kDarkColours, fpw);
    }
    fputs(kAtomMaterial, fpw);
    print_material(fpw, "BONDM\n", " 255 255 255 255\n");
    print_material(fpw, "POLYM\n", " 255 255 255 255\n");
    print_material(fpw, "SURFM\n", "   0   0   0 255\n");
    print_material(fpw, "FORMM\n", " 255 255 255 255\n");
    print_material(fpw, "HKLPM\n", " 255 255 255 255\n");
}

}  // namespace

int ZEMU_print_vesta_output(ZEMU_cube* cube, ZEMU_cif* cif, ZEMU_pathlib* pathlib, ZEMU_input* input)
{
    zemu_kernel::File file(fopen(VESTA_FILE, "w"));
    if (!file) {
        fprintf(stderr, "Error: Unable to write to ZEMU.vesta\n");
        return 1;
    }
    FILE* fpw = file.get();

    fputs(kHead, fpw);
    // The file name field is only meaningful with a cube file; without one the
    // density line names no file.
    std::string cube_file = input->cube ? field_text(input->cube_file, sizeof input->cube_file) : std::string();
    fprintf(fpw, "+1.000000E+000 %s\n", cube_file.c_str());
    fprintf(fpw, "\nGROUP\n%d 1\n", cif->int_tab_cryst_no);
    ZEMU_print_vesta_symop(cif, fpw);
    fputs(kTransform, fpw);
    put_crlf_block(fpw, "LORIENT", kOrientation);
    put_crlf_block(fpw, "LMATRIX", kMatrix);
    fprintf(fpw, "%f %f %f %f %f %f\n", cif->a, cif->b, cif->c, cif->alpha, cif->beta, cif->gamma);
    ZEMU_print_vesta_struc(cif, fpw);
    fputs(kShape, fpw);
    ZEMU_print_vesta_bond(cif, fpw);
    ZEMU_print_vesta_SITET(cif, fpw);
    fputs(kVectors, fpw);
    put_crlf_block(fpw, "LBLAT", kLabels);
    ZEMU_print_vesta_ATOMT(cif, fpw);
    put_crlf_block(fpw, "SCENE", kScene);
    put_crlf_block(fpw, "ATOMP", kAtomStyle);
    put_crlf_block(fpw, "BONDP", kBondStyle);
    put_crlf_block(fpw, "POLYP", kPolyhedronStyle);
    ZEMU_print_vesta_ISURF(cube, cif, pathlib, fpw);
    fputs(kSurfaceTail, fpw);
    print_lights_and_materials(fpw);
    fflush(fpw);
    return 0;
}
