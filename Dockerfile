# An image with codetext and git. To index a tree and search it:
#   docker build -t codetext .
#   docker run --rm --user "$(id -u)" -v "$PWD:/src" codetext index
#   docker run --rm --user "$(id -u)" -v "$PWD:/src" codetext search code PATTERN
FROM debian:bookworm-slim AS build
WORKDIR /codetext
COPY scripts/setup scripts/
RUN scripts/setup
COPY . .
RUN cmake --preset release && cmake --build --preset release
RUN cpack --config build/release/CPackConfig.cmake -B build/packages

FROM debian:bookworm-slim
RUN apt-get update \
    && apt-get install -y --no-install-recommends git \
    && rm -rf /var/lib/apt/lists/*
COPY --from=build /codetext/build/packages/codetext_*.deb /tmp/
RUN dpkg -i /tmp/codetext_*.deb && rm /tmp/codetext_*.deb
# The tree that is mounted may belong to a user whom this image does not know.
RUN git config --system --add safe.directory '*'
WORKDIR /src
ENTRYPOINT ["codetext"]
CMD ["--help"]
