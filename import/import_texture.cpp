// Textures: embedded ones from the file, external ones read with stb_image,
// converted to 5-5-5 with cut-out texels as the opacity map's colour key.
#include "import_internal.h"

#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_STATIC
#define STBI_NO_STDIO_WARNINGS
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#pragma GCC diagnostic ignored "-Wsign-compare"
#endif
#include <stb/stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#include <cstring>

namespace e3dimport {
namespace {

constexpr uint16_t kColourKey = 0x8000u;

// RGBA bytes to 5-5-5; a texel under half alpha becomes the key.
TextureResult Convert(const unsigned char *rgba, int w, int h) {
    TextureResult r;
    std::vector<uint16_t> px(size_t(w) * size_t(h));
    for (size_t i = 0; i < px.size(); ++i) {
        const unsigned char *p = rgba + i * 4;
        if (p[3] < 128) {
            px[i] = kColourKey;
            r.cutOut = true;
        } else {
            px[i] = uint16_t(((p[0] >> 3) << 10) | ((p[1] >> 3) << 5) | (p[2] >> 3));
        }
    }
    r.texture = CreateTextureFromPixels(px.data(), w, h, 2 * w);
    r.outOfMemory = r.texture == nullptr;
    return r;
}

bool SizeOk(int w, int h) { return w >= 1 && h >= 1 && w <= 32768 && h <= 32768; }

int NextPowerOfTwo(int n) {
    int p = 1;
    while (p < n) p <<= 1;
    return p;
}

// Nearest-texel resampling to power-of-two sides, so that the texture wraps.
std::vector<unsigned char> ToPowerOfTwo(const unsigned char *rgba, int w, int h, int &pw, int &ph) {
    pw = NextPowerOfTwo(w), ph = NextPowerOfTwo(h);
    std::vector<unsigned char> out(size_t(pw) * size_t(ph) * 4);
    for (int y = 0; y < ph; ++y) {
        const int sy = int((int64_t(y) * h) / ph);
        for (int x = 0; x < pw; ++x) {
            const int sx = int((int64_t(x) * w) / pw);
            std::memcpy(&out[(size_t(y) * pw + x) * 4], rgba + (size_t(sy) * w + sx) * 4, 4);
        }
    }
    return out;
}

}  // namespace

TextureResult LoadTexture(E3DImport &im, const aiScene &sc, const std::string &dir, const char *path, bool wrap) {
    const std::string key = std::string(path) + (wrap ? "#wrap" : "");
    auto cached = im.textureByPath.find(key);
    if (cached != im.textureByPath.end()) return cached->second;
    TextureResult r;
    int w = 0, h = 0, n = 0;
    unsigned char *rgba = nullptr;
    std::string why;
    const aiTexture *embedded = sc.GetEmbeddedTexture(path);
    if (embedded) {
        if (embedded->mHeight == 0) {
            rgba = stbi_load_from_memory(reinterpret_cast<const stbi_uc *>(embedded->pcData), int(embedded->mWidth), &w,
                                         &h, &n, 4);
            if (!rgba) why = std::string("embedded texture ") + path + " cannot be decoded: " + stbi_failure_reason();
        } else if (SizeOk(int(embedded->mWidth), int(embedded->mHeight))) {
            w = int(embedded->mWidth), h = int(embedded->mHeight);
            rgba = static_cast<unsigned char *>(std::malloc(size_t(w) * size_t(h) * 4));
            for (size_t i = 0; rgba && i < size_t(w) * size_t(h); ++i) {
                const aiTexel &t = embedded->pcData[i];
                rgba[i * 4] = t.r, rgba[i * 4 + 1] = t.g, rgba[i * 4 + 2] = t.b, rgba[i * 4 + 3] = t.a;
            }
        }
    } else {
        std::string file = path;
        for (char &c : file) c = c == '\\' ? '/' : c;
        if (file.rfind("file://", 0) == 0) file = file.substr(7);
        if (!file.empty() && file[0] != '/') file = dir + file;
        rgba = stbi_load(file.c_str(), &w, &h, &n, 4);
        if (!rgba) why = std::string("texture ") + file + " cannot be read (" + stbi_failure_reason() + "): drawn untextured";
    }
    if (rgba && SizeOk(w, h) && wrap && ((w & (w - 1)) || (h & (h - 1))) && w <= 16384 && h <= 16384) {
        int pw = 0, ph = 0;
        const std::vector<unsigned char> square = ToPowerOfTwo(rgba, w, h, pw, ph);
        r = Convert(square.data(), pw, ph);
        if (r.texture) im.textures.push_back(r.texture);
    } else if (rgba && SizeOk(w, h)) {
        r = Convert(rgba, w, h);
        if (r.texture) im.textures.push_back(r.texture);
    } else if (rgba) {
        why = std::string("texture ") + path + " has unsupported size";
    }
    std::free(rgba);
    if (!why.empty()) im.warnings.push_back(why);
    if (!r.outOfMemory) im.textureByPath.emplace(key, r);
    return r;
}

}  // namespace e3dimport
