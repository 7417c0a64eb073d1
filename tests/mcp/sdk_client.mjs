// Drives `codetext mcp` with the official TypeScript SDK, which checks every message, and results
// against the tools' output schemas.
//
//   node sdk_client.mjs PROGRAM DIRECTORY   (npm has installed the SDK in DIRECTORY)
import assert from 'node:assert/strict';
import { existsSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

const [program, directory] = process.argv.slice(2);
const sdk = join(directory, 'node_modules/@modelcontextprotocol/sdk/dist/esm');
if (!existsSync(sdk)) {
    console.log(`skipped: ${sdk} is missing; scripts/setup installs it`);
    process.exit(0);
}
const load = (name) => import(pathToFileURL(join(sdk, name)).href);
const { Client } = await load('client/index.js');
const { StdioClientTransport } = await load('client/stdio.js');

const root = mkdtempSync(join(tmpdir(), 'codetext-mcp-'));
try {
    for (let file = 0; file < 30; ++file) {
        writeFileSync(join(root, `${file}.c`), 'int a;\nneedle\n'.repeat(file));
    }
    const client = new Client({ name: 'test', version: '1' });
    await client.connect(new StdioClientTransport({ command: program, args: ['mcp', root] }));
    assert.equal(client.getServerVersion().name, 'codetext');
    assert.match(client.getInstructions(), /search_code/);
    const call = (name, args = {}) => client.callTool({ name, arguments: args });

    const { tools } = await client.listTools();
    assert.deepEqual(tools.map((tool) => tool.name),
        ['search_code', 'find_files', 'read_lines', 'index_status', 'refresh']);
    for (const tool of tools) {
        assert.equal(tool.annotations.readOnlyHint, tool.name !== 'refresh');
        assert.ok(tool.description && tool.outputSchema && tool.inputSchema.properties);
    }
    const none = await call('search_code', { pattern: 'needle' });
    assert.ok(none.isError);
    assert.match(none.content[0].text, /has no index yet.*call the tool `refresh`/);
    assert.equal((await call('refresh')).structuredContent.new, 30);
    assert.equal((await call('index_status')).structuredContent.files, 30);

    let found = 0;
    for (let cursor; ;) {
        const page = await call('search_code',
            { pattern: 'needle', context: 1, limit: 50, max_bytes: 2000, ...(cursor && { cursor }) });
        found += page.structuredContent.matches;
        cursor = page.structuredContent.next_cursor;
        if (!cursor) break;
    }
    assert.equal(found, 30 * 29 / 2);
    const names = await call('find_files', { pattern: '2?.c' });
    assert.equal(names.structuredContent.paths.length, 10);
    const lines = await call('read_lines', { path: '3.c', first: 2, last: 3 });
    assert.deepEqual(lines.structuredContent.lines,
        [{ line: 2, text: 'needle' }, { line: 3, text: 'int a;' }]);
    assert.ok((await call('read_lines', { path: '../x' })).isError);
    await assert.rejects(call('search_code', { pattern: 7 }), { code: -32602 });
    await assert.rejects(client.listResources(), /resources/);
    await client.ping();
    await client.close();
    console.log('passed');
} finally {
    rmSync(root, { recursive: true });
}
