import {CollectorClient} from './client.js';

/** Runs zentara-collector at a free port until `stop`. */
export class CollectorProcess {
    private constructor();

    /**
     * `schemas` is the folder or bundle to serve. `options` go to the program as well. `program` is
     * by default what ZENTARA_COLLECTOR names, or zentara-collector of the PATH.
     */
    static start(schemas: string,
                 settings?: {options?: string[]; program?: string}): Promise<CollectorProcess>;

    /** Such as "http://127.0.0.1:34567". */
    readonly url: string;

    client(): CollectorClient;

    /** Ends the program with SIGTERM. Its exit code. */
    stop(): Promise<number>;
}
