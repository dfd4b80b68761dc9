// A key pair on the application's group, in plain byte buffers.
#include <cstdio>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"

int ECC_ProduceKey(int, unsigned char* pub_out, unsigned char* priv_out) {
    ECC_PUBLIC_KEY pub;
    ulmaro::Wiped<ECC_PRIVATE_KEY> priv;
    ECC_GenerateKeyPair(&group, &pub, &*priv);
    std::printf("\n");
    std::memcpy(pub_out, &pub, sizeof pub);
    std::memcpy(priv_out, &*priv, sizeof *priv);
    return 0;
}
