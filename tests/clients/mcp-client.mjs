// mcp-client.mjs SDK URL: an AI client, built on the official SDK ("sdk", or "client", its
// successor). MCP_CLIENTS is the folder with the packages, MCP_KEY the key. It connects and says how
// the server introduced itself; then it carries out requests, one JSON object a line, as they come:
//   {"number": 1, "method": "callTool", "params": {"name": "get_vocabulary"}}
// and answers each when it is done, with the HTTP status or the system's error as the code:
//   {"number": 1, "result": …} or {"number": 1, "error": "…", "code": …}
// It closes its connections when its input ends.

import { createRequire } from 'node:module';
import { createInterface } from 'node:readline';

const require = createRequire(`${process.env.MCP_CLIENTS}/`);
const sdks = {
  sdk: () => ({
    ...require('@modelcontextprotocol/sdk/client/index.js'),
    ...require('@modelcontextprotocol/sdk/client/streamableHttp.js'),
  }),
  client: () => require('@modelcontextprotocol/client'),
};
const [sdk, url] = process.argv.slice(2);

// Longer than what any tool is asked to wait for in a test.
const patience = { timeout: 120_000 };
const methods = {
  ping: client => client.ping(patience),
  listTools: client => client.listTools({}, patience),
  // Between its parameters and its options the older SDK has one more argument.
  callTool: (client, params) =>
    sdk === 'sdk' ? client.callTool(params, undefined, patience) : client.callTool(params, patience),
};

const say = answer => console.log(JSON.stringify(answer));

function fault(error) {
  return { error: error.message, code: error.status ?? error.code ?? error.cause?.code };
}

async function connect() {
  const { Client, StreamableHTTPClientTransport } = sdks[sdk]();
  const client = new Client({ name: `quillet-test-${sdk}`, version: '1' });
  const requestInit = { headers: { Authorization: `Bearer ${process.env.MCP_KEY}` } };
  await client.connect(new StreamableHTTPClientTransport(new URL(url), { requestInit }));
  return client;
}

function introduction(client) {
  return {
    ...client.getServerVersion(),
    capabilities: client.getServerCapabilities(),
    instructions: client.getInstructions(),
  };
}

async function serve(client) {
  for await (const line of createInterface({ input: process.stdin })) {
    const { number, method, params } = JSON.parse(line);
    methods[method](client, params).then(
      result => say({ number, result }),
      error => say({ number, ...fault(error) }),
    );
  }
  await client.close();
}

const client = await connect().catch(error => {
  say(fault(error));
  process.exit(1);
});
say({ result: introduction(client) });
await serve(client);
